// The event log as data: its file, columns, codes and tables.
#pragma once

#include <span>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/output/output.h"
#include "tools/annalctl/output/text_table.h"
#include "tools/annalctl/query/query_commands.h"

namespace annalctl::event {

extern Log kLog;

extern const std::span<const Sort> kSorts;
extern const std::span<const Grouping> kGroupings;

extern const std::span<const TableColumn> kListTable;
extern const EntryView kEntry;

// The log's queries.
extern const QueryCommands kQueries;

}  // namespace annalctl::event
