// A file-operation log as data: its columns, codes and what people see of it. Its file is named on the command line.
#pragma once

#include <span>
#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/output.h"
#include "tools/annalctl/output/text_table.h"
#include "tools/annalctl/query/query_commands.h"

namespace annalctl::fileop {

// Has its path once use_file has been called, which is before any command runs.
extern Log kLog;

void use_file(const std::string& file);

extern const std::span<const Sort> kSorts;
extern const std::span<const Grouping> kGroupings;

extern const std::span<const TableColumn> kListTable;
extern const EntryView kEntry;

// What can be asked of the log.
extern const QueryCommands kQueries;

// Where a text goes unescaped between quotes into a statement: with its own quotes doubled it stands there for itself.
[[nodiscard]] std::string escaped(const std::string& text);

}  // namespace annalctl::fileop
