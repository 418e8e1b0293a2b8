// What is wrong with a command line.
#pragma once

#include <string>

#include "tools/annalctl/base/cli_types.h"

namespace annalctl {

// The parser's own sentence in the words of this program's other messages: it says what an option takes, not what the
// parser could not do.
[[nodiscard]] std::string usage_message(const CLI::App& command, const std::string& sentence);

}  // namespace annalctl
