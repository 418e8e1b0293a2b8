// What somebody may have meant who typed a name that there is not.
#pragma once

#include <CLI/CLI.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace annalctl {

// The name that is most like the word, if any is like it.
[[nodiscard]] std::optional<std::string> most_like(std::string_view word, const std::vector<std::string>& names);

// Of the commands or options that may stand where the word stood, after this command.
[[nodiscard]] std::optional<std::string> suggestion(const CLI::App& command, const std::string& word);

}  // namespace annalctl
