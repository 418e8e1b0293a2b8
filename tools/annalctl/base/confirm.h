// Asking before something that cannot be undone.
#pragma once

#include <optional>
#include <string>

namespace annalctl {

// The answer of a person at the terminal; nothing if standard input is not a terminal.
[[nodiscard]] std::optional<bool> answer_to(const std::string& question);

// True if a person at the terminal agrees, or if standard input is not a terminal: a script has decided already.
[[nodiscard]] bool confirmed(const std::string& question);

}  // namespace annalctl
