// Prints a number of bytes with its unit.
#include "tools/annalctl/base/byte_text.h"

#include <fmt/format.h>

#include <array>
#include <cstddef>

namespace annalctl {

std::string bytes_text(std::int64_t bytes) {
  constexpr double kUnit = 1024;
  constexpr std::array kNames{"bytes", "KiB", "MiB", "GiB", "TiB"};
  auto value = static_cast<double>(bytes);
  std::size_t unit = 0;
  while (value >= kUnit && unit + 1 < kNames.size()) {
    value /= kUnit;
    ++unit;
  }
  return unit == 0 ? fmt::format("{} {}", bytes, kNames[0]) : fmt::format("{:.1f} {}", value, kNames.at(unit));
}

}  // namespace annalctl
