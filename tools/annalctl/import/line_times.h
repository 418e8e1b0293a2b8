// The forms of time in other programs' logs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace annalctl {

// Takes "Jun 14 15:16:01" off the front of a text. It names no year: it is the latest that does not put the
// time into the future. Nothing, with the text unchanged, for another beginning or a day that does not exist.
[[nodiscard]] std::optional<std::int64_t> take_yearless_time(std::string_view& text, std::int64_t now);

// Whether a text begins in that form, even with a day that does not exist.
[[nodiscard]] bool begins_with_month(std::string_view text);

// A whole text: an ISO time; "Jun 14 15:16:01"; "Sat Nov 21 10:00:00.5 2026"; "21/Nov/2026:10:00:00 +0100";
// "2026/11/21 10:00:00"; or seconds, milliseconds, microseconds or nanoseconds since 1970. With a format
// (strptime's), only what that reads.
[[nodiscard]] std::optional<std::int64_t> line_time(std::string_view text, std::int64_t now, const std::string& format);

}  // namespace annalctl
