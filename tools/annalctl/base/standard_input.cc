// Reads all of standard input.
#include "tools/annalctl/base/standard_input.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstddef>

#include "tools/annalctl/base/failure.h"

namespace annalctl {

void take_standard_input(std::string& text) {
  if (text != "-") {
    return;
  }
  if (!has_standard_input()) {
    throw Refusal("there is no standard input for '-': pipe or redirect a text into it");
  }
  constexpr std::size_t kMost = std::size_t{1} << 20U;
  std::array<char, 4096> part{};
  text.clear();
  for (;;) {
    const ssize_t count = read(STDIN_FILENO, part.data(), part.size());
    if (count == 0) {
      break;
    }
    if (count < 0 && errno != EINTR) {
      throw Refusal("cannot read standard input: " + system_message(errno));
    }
    text.append(part.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    if (text.size() > kMost) {
      throw Refusal("the text on standard input is too long for any entry");
    }
  }
  if (text.ends_with('\n')) {
    text.pop_back();
  }
}

}  // namespace annalctl
