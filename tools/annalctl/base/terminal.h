// What is known about the terminal of standard output or standard error.
#pragma once

#include <cstddef>

namespace annalctl {

struct Terminal {
  bool present = false;  // false: a file, a pipe, nothing
  std::size_t width = 0;
  std::size_t height = 0;
  bool colour = false;
};

// COLUMNS, LINES and NO_COLOR override the terminal.
[[nodiscard]] Terminal terminal_of(int descriptor);

// Makes sure that the three standard descriptors are open: a log opened as descriptor 1 would receive the output.
void open_missing_standard_descriptors();

}  // namespace annalctl
