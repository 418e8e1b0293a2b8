#include "tools/annalctl/log/level.h"

#include <array>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {

constexpr std::array kLevelChoices{
    Choice{"information", 0}, Choice{"warning", 1},  Choice{"error", 2},    Choice{"info", 0, false},
    Choice{"warn", 1, false}, Choice{"0", 0, false}, Choice{"1", 1, false}, Choice{"2", 2, false},
};

// The bare numbers are those of the stored levels here too: one meaning in all commands.
constexpr std::array kFilterChoices{
    Choice{"all", 0},      Choice{"information", 1}, Choice{"warning", 2},
    Choice{"error", 3},    Choice{"info", 1, false}, Choice{"warn", 2, false},
    Choice{"0", 1, false}, Choice{"1", 2, false},    Choice{"2", 3, false},
};

}  // namespace

const std::span<const Choice> kLevels = kLevelChoices;
const std::span<const Choice> kLevelFilters = kFilterChoices;

TableCell level_cell(const char* code) {
  constexpr std::array kStyles{Style::kInformation, Style::kWarning, Style::kError};
  const std::optional<unsigned> level = code_of(kLevels, code);
  return {printable(name_of(kLevels, code)), level ? kStyles.at(*level) : Style::kPlain};
}

}  // namespace annalctl
