// The level of a line of another program's log, and what decided it.
#pragma once

#include <string_view>

#include "tools/annalctl/import/log_line.h"

namespace annalctl {

// By the worst word in the text, for lines without a level.
void set_level_by_words(LogLine& line, std::string_view text);

// By a word or number in the line that names a level: "error", "warn", "3". False if it names none.
[[nodiscard]] bool set_level_by_name(LogLine& line, std::string_view name);

// By a syslog priority, ignoring the facility. Throws Refusal for anything else.
void set_level_by_priority(LogLine& line, std::string_view priority);

// By the status of an HTTP answer.
void set_level_by_status(LogLine& line, std::string_view status);

// What the functions above do, for a help text of 80 columns.
extern const char* const kLevelRules;

}  // namespace annalctl
