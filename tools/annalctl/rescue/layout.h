// Compares what a log's schema says with what the library makes of a new log, or of an older one by migration.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/rescue/sql_tokens.h"

namespace annalctl {

// A column as the text that creates its table has it.
struct ColumnText {
  std::string name;  // in lower case
  Tokens rest;       // its type, its default, and whatever else is asked of it
};

struct TableText {
  std::vector<ColumnText> columns;
  // What asks something of rows: a constraint, or a word behind the list of columns. Empty when there is nothing.
  std::string demand;
};

// Nothing for a text that does not create a table of columns: a virtual one, or one that makes no sense.
[[nodiscard]] std::optional<TableText> table_text(std::string_view statement);

// Whether a column keeps what the library stores in it as the library's own column does. made: the library's; a null
// pointer for a column that this release does not know.
[[nodiscard]] bool stores_alike(const ColumnText& column, const ColumnText* made);

// Whether a trigger is the library's, with whatever numbers.
[[nodiscard]] bool is_same_trigger(std::string_view statement, std::string_view made);

// Whether an index can refuse no row: it is not unique, and lists columns alone.
[[nodiscard]] bool is_harmless_index(std::string_view statement);

}  // namespace annalctl
