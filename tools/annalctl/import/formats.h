// The log formats that can be imported. The parsers throw Refusal for a line that is not in their format.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "tools/annalctl/import/log_line.h"

namespace annalctl {

enum class LineFormat {
  kUnknown,
  kDpkg,
  kSyslog,
  kJsonLines,
};

// What a line looks like, by its beginning alone.
[[nodiscard]] LineFormat looks_like(std::string_view line);

// "2024-01-01 10:00:00 install foo:amd64 <none> 1.0"
[[nodiscard]] LogLine parse_dpkg(std::string_view line);

// "Jun 14 15:16:01 host program(module)[123]: text", or with an ISO time in front. The first form names no year: it is
// the latest in which the time does not lie after now.
[[nodiscard]] LogLine parse_syslog(std::string_view line, std::int64_t now);

// What an OpenSSH server's line says about somebody who wanted to log in. The texts are parts of the line.
struct LogIn {
  bool accepted;
  std::string_view user;
  std::string_view address;
};

// Nothing for the lines that say something else, or say the same once more.
[[nodiscard]] std::optional<LogIn> log_in_of(const LogLine& line);

// Whether a syslog line could begin with this text: "Jun 14 15:16:01" or "2026-11-21T10:00:00".
[[nodiscard]] bool begins_with_month(std::string_view line);

}  // namespace annalctl
