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

// What a session needs to fill a log's table, built once.
struct Statements {
  explicit Statements(const LogTable& table);

  std::string create;  // the temporary table, which each commit empties
  std::string copy;    // into it
  std::string insert;  // from there
};

// Appends one line for the temporary table.
void append_entry_line(std::string& lines, const LogTable& table, const Stream& stream, const Record& record);

inline constexpr const char* kCopyGaps =
    "COPY incoming_gap (appliance, log, generation, first_id, entries, found) FROM STDIN";
void append_gap_line(std::string& lines, const Stream& stream, const Record& gap);

inline constexpr const char* kCreateGaps =
    "CREATE TEMPORARY TABLE IF NOT EXISTS incoming_gap (appliance uuid, log text, generation bigint, first_id bigint, "
    "entries bigint, found timestamptz) ON COMMIT DELETE ROWS";
inline constexpr const char* kInsertGaps =
    "INSERT INTO annal.gap (appliance, log, generation, first_id, entries, found) SELECT appliance, log, generation, "
    "first_id, entries, found FROM incoming_gap ORDER BY 1, 2, 3, 4, 5 ON CONFLICT DO NOTHING";

// Whether the text is a machine-id: 32 hexadecimal digits.
[[nodiscard]] bool is_appliance(std::string_view text);

}  // namespace exporter::database
