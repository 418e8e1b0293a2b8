// What is known about the terminal behind standard output or standard error.
#pragma once

#include <cstddef>

namespace annalctl {

struct Terminal {
  bool present = false;  // false: a file, a pipe, nothing
  std::size_t width = 0;
  std::size_t height = 0;
  bool colour = false;
};

// What COLUMNS, LINES and NO_COLOR say holds, whatever the terminal is.
[[nodiscard]] Terminal terminal_of(int descriptor);

// Makes sure that the three standard descriptors are taken: a log that is opened as number 1 would receive the output.
void open_missing_standard_descriptors();

}  // namespace annalctl
