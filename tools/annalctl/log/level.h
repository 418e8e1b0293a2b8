// The level of an entry, for the logs that have one.
#pragma once

#include <span>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/output/text_table.h"

namespace annalctl {

// The stored levels. Queries count them from 1, because 0 is "all" there.
extern const std::span<const Choice> kLevels;
extern const std::span<const Choice> kLevelFilters;

[[nodiscard]] TableCell level_cell(const char* code);

}  // namespace annalctl
