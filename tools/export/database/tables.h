// The tables of the logs, and rows in the form in which PostgreSQL's COPY takes them.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "tools/export/record.h"

namespace exporter::database {

struct Column {
  std::string_view field;  // as the log calls it
  std::string_view name;   // as the table does
  bool number;
};

struct LogTable {
  std::string_view log;
  std::string_view id;              // as the log calls it
  std::span<const Column> columns;  // the log's own, without the id
};

// All that there are.
[[nodiscard]] std::span<const LogTable> log_tables();

// What a session needs to fill a table.
struct Statements {
  std::string create;  // the temporary table, which each commit empties
  std::string copy;    // into it
  std::string insert;  // from there
};
[[nodiscard]] Statements statements_for(const LogTable& table);

// Appends one line for the temporary table.
void append_entry_line(std::string& lines, const LogTable& table, const Stream& stream, const Record& record);

// What is not about one row of a log goes to a table that all logs share.
struct SideTable {
  Kind kind;
  Statements statements;
  void (*append_line)(std::string& lines, const Stream& stream, const Record& record);
};

// All that there are.
[[nodiscard]] std::span<const SideTable> side_tables();

// Whether the text is a machine-id: 32 hexadecimal digits.
[[nodiscard]] bool is_appliance(std::string_view text);

}  // namespace exporter::database
