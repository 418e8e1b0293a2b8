// A file-operation log as data: its columns, codes and tables. Its file is named on the command line.
#pragma once

#include <span>
#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/output.h"
#include "tools/annalctl/output/text_table.h"
#include "tools/annalctl/query/query_commands.h"

namespace annalctl::fileop {

// Has no path until use_file is called, before any command runs.
extern Log kLog;

void use_file(const std::string& file);

extern const std::span<const Sort> kSorts;
extern const std::span<const Grouping> kGroupings;

extern const std::span<const TableColumn> kListTable;
extern const EntryView kEntry;

// The log's queries.
extern const QueryCommands kQueries;

// Doubles the quotes of a text that the library puts unescaped between quotes.
[[nodiscard]] std::string escaped(const std::string& text);

}  // namespace annalctl::fileop
