// Prepares stored text for the terminal: it must not control the terminal, and columns must line up.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace annalctl {

// The text with control characters, marks that reverse the writing direction and invalid UTF-8 shown as \xNN or
// \u{NNNN}.
[[nodiscard]] std::string printable(std::string_view raw);

// The characters of a text; nothing when it is not valid UTF-8.
[[nodiscard]] std::optional<std::u32string> characters_of(std::string_view text);

// Terminal columns that a printable text takes.
[[nodiscard]] std::size_t display_width(std::string_view text);

// A printable text cut to a number of columns, with "…" for the rest.
[[nodiscard]] std::string clipped(std::string_view text, std::size_t width);

// Character classes of ASCII only: other bytes belong to no class, whatever the locale.
[[nodiscard]] constexpr bool is_digit(char c) {
  return c >= '0' && c <= '9';
}
[[nodiscard]] constexpr char lower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}
[[nodiscard]] constexpr bool is_letter(char c) {
  return lower(c) >= 'a' && lower(c) <= 'z';
}
// Equal except for the case of ASCII letters.
[[nodiscard]] bool same_letters(std::string_view left, std::string_view right);
[[nodiscard]] constexpr bool is_blank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

}  // namespace annalctl
