// Compares a log's schema with the one that the library creates, or migrates an older log to.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/rescue/sql_tokens.h"

namespace annalctl {

// A column in the text that creates its table.
struct ColumnText {
  std::string name;  // in lower case
  Tokens rest;       // its type, its default and its constraints
};

struct TableText {
  std::vector<ColumnText> columns;
  // A constraint on rows, or a word after the list of columns. Empty if there is none.
  std::string demand;
};

// Nothing for a text that does not create a table of columns, such as a virtual one.
[[nodiscard]] std::optional<TableText> table_text(std::string_view statement);

// Whether a column keeps what the library stores in it like the library's own column. made: the library's; null for a
// column that this release does not know.
[[nodiscard]] bool stores_alike(const ColumnText& column, const ColumnText* made);

// Whether a trigger is the library's, with any numbers.
[[nodiscard]] bool is_same_trigger(std::string_view statement, std::string_view made);

// Whether an index can never refuse a row: it is not unique, and lists only columns.
[[nodiscard]] bool is_harmless_index(std::string_view statement);

}  // namespace annalctl
