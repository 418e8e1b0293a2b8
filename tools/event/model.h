// The event log as data: its file, columns, codes and what people see of it.
#pragma once

#include <array>
#include <span>

#include "tools/choice.h"
#include "tools/log.h"
#include "tools/output.h"
#include "tools/table.h"

namespace annalctl::event {

extern const Log kLog;

// The sort codes of ascending order; one more is descending.
extern const std::span<const Choice> kSorts;

enum SortCode : unsigned {
  kOldestFirst = 0,
  kNewestFirst = 1,
  kHighestIdFirst = 13,
};

// One way to group: its code, the order that shows its groups best, and the columns that say something about a group
// as a whole.
struct Grouping {
  Choice choice;
  unsigned sort;
  std::span<const TableColumn> table;
};
extern const std::span<const Grouping> kGroupings;

[[nodiscard]] RowShape listed_shape();

}  // namespace annalctl::event
