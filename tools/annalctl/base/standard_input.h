// Standard input as one text.
#pragma once

#include <string>

namespace annalctl {

// Whether there is something to read: false at a terminal, where a program that waits for lines looks as if it hung,
// and when standard input was closed.
[[nodiscard]] bool has_standard_input();

// Where "-" stands for a text: replaces it by all of standard input, without the line end behind it. Throws Refusal
// when there is no standard input, and for more than any entry holds.
void take_standard_input(std::string& text);

}  // namespace annalctl
