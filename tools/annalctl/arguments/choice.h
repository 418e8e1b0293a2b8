// Options that take one of a few names, each with a code of the library.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/cli_types.h"

namespace annalctl {

struct Choice {
  const char* name;
  unsigned code;
  bool listed = true;  // false: understood, but not shown in the help
};

// A name may be written in either case.
[[nodiscard]] std::optional<unsigned> code_of(std::span<const Choice> choices, std::string_view name);

// The same for an option's value: any other name is wrong usage.
[[nodiscard]] unsigned require_code(std::span<const Choice> choices, const char* option, const std::string& name);

// "date, time, type"
[[nodiscard]] std::string names_of(std::span<const Choice> choices);

// The code's name, or the code itself if it has none.
[[nodiscard]] std::string name_of(std::span<const Choice> choices, std::string_view code);

// Has an option say, for a shell's completion and the manual, which values it knows; offered() returns them.
CLI::Option* offer(CLI::Option* option, std::span<const Choice> choices);
[[nodiscard]] std::vector<std::string> offered(CLI::Option& option);

// An option for one of the names.
CLI::Option* add_choice(CLI::App& command, const char* option, std::optional<unsigned>& code,
                        std::span<const Choice> choices, const char* help);

}  // namespace annalctl
