// The connection log as data: its file, columns, codes and what people see of it.
#pragma once

#include <span>

#include "tools/choice.h"
#include "tools/level.h"
#include "tools/log.h"
#include "tools/search.h"
#include "tools/table.h"

namespace annalctl::conn {

extern const Log kLog;

// Services and actions are numbers that each program has agreed on with the readers of its entries.
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

}  // namespace annalctl::conn
