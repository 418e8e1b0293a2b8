// Standard input as one text.
#pragma once

#include <string>

namespace annalctl {

// Whether there is something to read: false at a terminal, where a waiting program seems to hang, and if standard input
// is closed.
[[nodiscard]] bool has_standard_input();

// Replaces the text "-" by all of standard input, without its final line end. Throws Refusal if there is no standard
// input, and for more than any entry holds.
void take_standard_input(std::string& text);

}  // namespace annalctl
