// Asks for confirmation on the terminal.
#include "tools/annalctl/base/confirm.h"

#include <unistd.h>

#include <array>
#include <cstdio>
#include <string_view>

namespace annalctl {

std::optional<bool> answer_to(const std::string& question) {
  if (isatty(STDIN_FILENO) == 0) {
    return {};
  }
  // On standard error: standard output may be a file while a person types.
  static_cast<void>(std::fputs((question + " [y/N] ").c_str(), stderr));
  std::array<char, 16> buffer{};
  if (std::fgets(buffer.data(), static_cast<int>(buffer.size()), stdin) == nullptr) {
    static_cast<void>(std::fputs("\n", stderr));
    return false;
  }
  const std::string_view answer = buffer.data();
  return answer == "y\n" || answer == "Y\n" || answer == "yes\n";
}

bool confirmed(const std::string& question) {
  return answer_to(question).value_or(true);
}

}  // namespace annalctl
