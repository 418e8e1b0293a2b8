// Asking before something that cannot be undone.
#pragma once

#include <string>

namespace annalctl {

// True when a person at the terminal agrees, and also when standard input is no terminal: a script has decided already.
[[nodiscard]] bool confirmed(const std::string& question);

}  // namespace annalctl
