// The levels' names and colours.
#include "tools/annalctl/log/level.h"

#include <array>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/whole_number.h"

namespace annalctl {

namespace {

constexpr std::array kLevelChoices{
    Choice{"information", 0}, Choice{"warning", 1},  Choice{"error", 2},    Choice{"info", 0, false},
    Choice{"warn", 1, false}, Choice{"0", 0, false}, Choice{"1", 1, false}, Choice{"2", 2, false},
};

}  // namespace

constinit const std::span<const Choice> kLevels = kLevelChoices;

std::optional<std::int64_t> number_in(Row values, std::size_t place) {
  return place < values.size() && values[place] != nullptr ? whole_number<std::int64_t>(values[place]) : std::nullopt;
}

TableCell level_cell(const char* code) {
  constexpr std::array kStyles{Style::kInformation, Style::kWarning, Style::kError};
  const std::optional<unsigned> level = code_of(kLevels, code);
  return {printable(name_of(kLevels, code)), level ? kStyles.at(*level) : Style::kPlain};
}

}  // namespace annalctl
