// The forms of time in other programs' logs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace annalctl {

// Takes "Jun 14 15:16:01" off the front of a text. It names no year: it is the latest in which the time does not lie
// after now. Nothing, with the text left alone, when it begins otherwise or such a day does not exist.
[[nodiscard]] std::optional<std::int64_t> take_yearless_time(std::string_view& text, std::int64_t now);

// Whether a text begins in the form of such a time, also with a day that does not exist.
[[nodiscard]] bool begins_with_month(std::string_view text);

// A whole text: an ISO time; "Jun 14 15:16:01"; "Sat Nov 21 10:00:00.5 2026"; "21/Nov/2026:10:00:00 +0100";
// "2026/11/21 10:00:00"; or seconds, milliseconds, microseconds or nanoseconds since 1970. With a format, which is
// strptime's, what that reads and nothing else.
[[nodiscard]] std::optional<std::int64_t> line_time(std::string_view text, std::int64_t now, const std::string& format);

}  // namespace annalctl
