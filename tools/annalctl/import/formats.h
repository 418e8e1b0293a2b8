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
  // Whether a line's beginning is in this format; null: the pattern tells.
  bool (*detects)(std::string_view line);
  LogLine (*parse)(std::string_view line, std::int64_t now);  // null: the pattern does it
  const char* pattern;  // its groups are fields of a line; null: the parser does it
  const char* program;  // for lines that name none; null: they do
};

// In the order in which a line is tried.
extern const std::span<const LineFormat> kLineFormats;

[[nodiscard]] const LineFormat* find_line_format(std::string_view name);

// The first format that a line looks like, or null.
[[nodiscard]] const LineFormat* looks_like(std::string_view line);

[[nodiscard]] LogLine parse_line(const LineFormat& format, std::string_view line, std::int64_t now);

// "2024-01-01 10:00:00 install foo:amd64 <none> 1.0"
[[nodiscard]] LogLine parse_dpkg(std::string_view line);

// "Jun 14 15:16:01 host program(module)[123]: text", or with an ISO time, and after a priority. The first form names
// no year: it is the latest that does not put the time into the future.
[[nodiscard]] LogLine parse_syslog(std::string_view line, std::int64_t now);

// A successful or failed log-in, from a line.
struct LogIn {
  bool accepted;
  std::string user;
  std::string address;  // empty: on the machine itself
};

// From a line of OpenSSH's server, PAM, su or sudo. Nothing for other lines, and for those that repeat another one.
[[nodiscard]] std::optional<LogIn> log_in_of(const LogLine& line);

}  // namespace annalctl
