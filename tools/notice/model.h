// The notice log as data: its file, its columns and the facilities that notices come from.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/choice.h"
#include "tools/log.h"
#include "tools/output.h"
#include "tools/table.h"

namespace annalctl::notice {

extern const Log kLog;

struct Facility {
  int number;
  std::string name;
};

[[nodiscard]] std::vector<Facility> facilities();

// What a person writes for a facility: its number, or its name in any case. Throws Refusal for what is neither.
[[nodiscard]] int facility_of(const std::string& text);

// Seconds since 1970, from a number, with or without "@" in front, or a local time. Throws Refusal for what is neither.
[[nodiscard]] std::int64_t seconds_of(const std::string& text);

extern const std::span<const Choice> kSeverities;

// The sort codes of ascending order; one more is descending.
extern const std::span<const Choice> kSorts;

enum SortCode : unsigned {
  kOldestFirst = 0,
  kNewestFirst = 1,
  kUnsorted = 2,
  kHighestIdFirst = 13,
};

// One way to group: its code, and the columns that say something about a group as a whole.
struct Grouping {
  Choice choice;
  std::span<const TableColumn> table;
};
extern const std::span<const Grouping> kGroupings;

[[nodiscard]] RowShape listed_shape();

}  // namespace annalctl::notice
