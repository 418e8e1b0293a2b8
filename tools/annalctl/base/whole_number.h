// A number that is the whole of a text.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace annalctl {

// Nothing for a text with anything but the number, and for one that the type does not hold.
template <typename Number>
[[nodiscard]] std::optional<Number> whole_number(std::string_view text) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [read, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && read == end ? std::optional(number) : std::nullopt;
}

}  // namespace annalctl
