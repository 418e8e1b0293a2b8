// Parses a text that is a number and nothing else.
#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

namespace annalctl {

// Nothing for any other text, and for a number that the type cannot hold.
template <typename Number>
[[nodiscard]] std::optional<Number> whole_number(std::string_view text) {
  Number number = 0;
  const char* const end = text.data() + text.size();
  const auto [read, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && read == end ? std::optional(number) : std::nullopt;
}

}  // namespace annalctl
