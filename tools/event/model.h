// The event log as data: its file, columns, codes and what people see of it.
#pragma once

#include <span>

#include "tools/choice.h"
#include "tools/level.h"
#include "tools/log.h"
#include "tools/search.h"
#include "tools/table.h"

namespace annalctl::event {

extern const Log kLog;

extern const std::span<const Sort> kSorts;
extern const std::span<const Grouping> kGroupings;

extern const std::span<const TableColumn> kListTable;

}  // namespace annalctl::event
