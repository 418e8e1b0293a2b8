// The level of an entry, for the logs that have one.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/output/output.h"
#include "tools/annalctl/output/text_table.h"

namespace annalctl {

// As they are stored.
extern const std::span<const Choice> kLevels;

// The same by their numbers.
inline constexpr std::array kLevelNames{"information", "warning", "error"};

[[nodiscard]] TableCell level_cell(const char* code);

// What a row has at a place, if that is a whole number.
[[nodiscard]] std::optional<std::int64_t> number_in(Row values, std::size_t place);

}  // namespace annalctl
