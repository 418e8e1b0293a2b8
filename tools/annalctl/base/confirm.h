// Asking before something that cannot be undone.
#pragma once

#include <optional>
#include <string>

namespace annalctl {

// What a person at the terminal answers; nothing when standard input is no terminal.
[[nodiscard]] std::optional<bool> answer_to(const std::string& question);

// True when a person at the terminal agrees, and also when standard input is no terminal: a script has decided already.
[[nodiscard]] bool confirmed(const std::string& question);

}  // namespace annalctl
