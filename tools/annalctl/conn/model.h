// The connection log as data: its file, columns, codes and tables.
#pragma once

#include <span>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/output/output.h"
#include "tools/annalctl/output/text_table.h"
#include "tools/annalctl/query/query_commands.h"

namespace annalctl::conn {

extern Log kLog;

// Services and actions are numbers with a meaning that programs and readers agree on.
enum Highest : int {
  kHighestService = 12,
  kHighestAction = 36,
};

enum ActionResult : int {
  kSucceeded = 0,
  kFailed = 13,
};

extern const std::span<const Sort> kSorts;
extern const std::span<const Grouping> kGroupings;

extern const std::span<const TableColumn> kListTable;
extern const EntryView kEntry;

// The log's queries.
extern const QueryCommands kQueries;

}  // namespace annalctl::conn
