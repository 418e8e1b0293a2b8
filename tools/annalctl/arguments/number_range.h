// What an option for a number accepts.
#pragma once

#include <CLI/CLI.hpp>
#include <limits>

namespace annalctl {

// The library takes any number of 0 or less as its own default. Where that is not documented, a user who types such a
// number does not mean it.
[[nodiscard]] inline CLI::Range at_least(int least) {
  return {least, std::numeric_limits<int>::max()};
}

}  // namespace annalctl
