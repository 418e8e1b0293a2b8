// The options that give a new entry its texts and its time.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "tools/annalctl/arguments/fields.h"
#include "tools/annalctl/base/cli_types.h"

namespace annalctl {

// An option for each field. The field whose name has no dashes is required, and takes no option.
void add_text_options(CLI::App& command, std::span<const TextField> fields, std::span<std::string> texts);

// "--time".
void add_time_option(CLI::App& command, std::string& time);

// Seconds since 1970, or nothing for an empty text. Throws Refusal for what is not a time.
[[nodiscard]] std::optional<std::int64_t> seconds_from_option(const std::string& time);

}  // namespace annalctl
