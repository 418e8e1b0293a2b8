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

// Of a row, by where its columns are.
[[nodiscard]] std::optional<std::string> level_name(Row values, std::size_t level);
[[nodiscard]] std::optional<std::int64_t> moment_of_texts(Row values, std::size_t date, std::size_t time);
[[nodiscard]] std::optional<std::int64_t> number_in(Row values, std::size_t place);
// The same by their numbers.
inline constexpr std::array kLevelNames{"information", "warning", "error"};

[[nodiscard]] TableCell level_cell(const char* code);

}  // namespace annalctl
