// The log formats that can be imported. The parsers throw Refusal for a line that is not in their format.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "tools/annalctl/import/log_line.h"

namespace annalctl {

struct LineFormat {
  const char* name;    // for --format
  const char* sample;  // a line, for the help
  // Whether a line looks like one of these, by its beginning; null where the pattern tells.
  bool (*detects)(std::string_view line);
  LogLine (*parse)(std::string_view line, std::int64_t now);  // null where the pattern does
  const char* pattern;  // its groups are fields of a line; null where a parser does it
  const char* program;  // of lines that name none; null where they do
};

// In the order in which a line is looked at.
extern const std::span<const LineFormat> kLineFormats;

[[nodiscard]] const LineFormat* find_line_format(std::string_view name);

// The first format that a line looks like, or null.
[[nodiscard]] const LineFormat* looks_like(std::string_view line);

[[nodiscard]] LogLine parse_line(const LineFormat& format, std::string_view line, std::int64_t now);

// "2024-01-01 10:00:00 install foo:amd64 <none> 1.0"
[[nodiscard]] LogLine parse_dpkg(std::string_view line);

// "Jun 14 15:16:01 host program(module)[123]: text", or with an ISO time, and with a priority in front. The first form
// names no year: it is the latest in which the time does not lie after now.
[[nodiscard]] LogLine parse_syslog(std::string_view line, std::int64_t now);

// What a line says about somebody who logged in, or wanted to.
struct LogIn {
  bool accepted;
  std::string user;
  std::string address;  // empty: on the machine itself
};

// Of OpenSSH's server, PAM, su and sudo. Nothing for the lines that say something else, or say the same once more.
[[nodiscard]] std::optional<LogIn> log_in_of(const LogLine& line);

}  // namespace annalctl
