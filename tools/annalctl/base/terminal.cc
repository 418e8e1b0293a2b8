// Finds out whether output goes to a terminal, how wide it is and whether it takes colours.
#include "tools/annalctl/base/terminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string_view>

#include "tools/annalctl/base/standard_input.h"
#include "tools/annalctl/base/whole_number.h"

namespace annalctl {

namespace {

constexpr std::size_t kUsualWidth = 80;
constexpr std::size_t kUsualHeight = 24;

std::string_view environment(const char* name) {
  const char* value = secure_getenv(name);
  return value == nullptr ? std::string_view() : value;
}

// From the environment, the terminal, or the default.
std::size_t size_of(const char* variable, unsigned short told, std::size_t usual) {
  const std::size_t asked = whole_number<std::size_t>(environment(variable)).value_or(0);
  if (asked > 0) {
    return asked;
  }
  return told > 0 ? told : usual;
}

bool input_was_closed = false;

}  // namespace

Terminal terminal_of(int descriptor) {
  if (isatty(descriptor) == 0) {
    return {};
  }
  winsize size{};
  if (ioctl(descriptor, TIOCGWINSZ, &size) != 0) {
    size = {};
  }
  return {true, size_of("COLUMNS", size.ws_col, kUsualWidth), size_of("LINES", size.ws_row, kUsualHeight),
          environment("NO_COLOR").empty() && environment("TERM") != "dumb"};
}

void open_missing_standard_descriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) < 0) {
      input_was_closed = input_was_closed || descriptor == STDIN_FILENO;
      // This is the lowest free number. Opened read-only, so that output still fails as it should.
      static_cast<void>(open("/dev/null", O_RDONLY));
    }
  }
}

bool has_standard_input() {
  return !input_was_closed && isatty(STDIN_FILENO) == 0;
}

}  // namespace annalctl
