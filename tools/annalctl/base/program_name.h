// The name in front of error messages, for programs that share annalctl's code.
#pragma once

namespace annalctl {

// Replaces the name, which is "annalctl". Keeps the pointer.
void name_program(const char* name);

}  // namespace annalctl
