#include "tools/annalctl/base/terminal.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <string_view>

#include "tools/annalctl/base/whole_number.h"

namespace annalctl {

namespace {

constexpr std::size_t kUsualWidth = 80;

std::string_view environment(const char* name) {
  const char* value = secure_getenv(name);
  return value == nullptr ? std::string_view() : value;
}

std::size_t width_of(int descriptor) {
  winsize size{};
  if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) {
    return size.ws_col;
  }
  const std::size_t width = whole_number<std::size_t>(environment("COLUMNS")).value_or(0);
  return width > 0 ? width : kUsualWidth;
}

}  // namespace

Terminal terminal_of(int descriptor) {
  if (isatty(descriptor) == 0) {
    return {};
  }
  return {true, width_of(descriptor), environment("NO_COLOR").empty() && environment("TERM") != "dumb"};
}

void open_missing_standard_descriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) < 0) {
      // The lowest free number is this one. Opened for reading alone, so that output still fails as it should.
      static_cast<void>(open("/dev/null", O_RDONLY));
    }
  }
}

}  // namespace annalctl
