// The likely intention of a user who typed an unknown name.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/cli_types.h"

namespace annalctl {

// The name that is most similar to the word, if any is similar.
[[nodiscard]] std::optional<std::string> most_like(std::string_view word, const std::vector<std::string>& names);

// Among the commands or options that may follow this command.
[[nodiscard]] std::optional<std::string> suggestion(const CLI::App& command, const std::string& word);

}  // namespace annalctl
