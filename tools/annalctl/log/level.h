// The level of an entry, for the logs that have one.
#pragma once

#include <span>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/output/text_table.h"

namespace annalctl {

// As they are stored.
extern const std::span<const Choice> kLevels;

[[nodiscard]] TableCell level_cell(const char* code);

}  // namespace annalctl
