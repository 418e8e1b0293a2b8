// The text fields of a record, as data: where a text may come from, where it goes and how long it may be.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace annalctl {

enum class FieldKind {
  kText,
  kAddress,  // must be one, unless it is empty or "---", which the library stores for none
  kMessage,  // the library drops control characters: a TAB or a line end, which separates words, becomes a blank first
};

struct TextField {
  const char* column;  // its name in the table and in JSON Lines
  const char* option;  // of the command that adds one entry; null: no option
  const char* label;   // for people
  std::size_t offset;  // into the record
  std::size_t bound;   // in bytes, without the terminator
  FieldKind kind = FieldKind::kText;
  const char* absent = "";  // what the library stores for none
};

[[nodiscard]] constexpr TextField text_field(const char* column, const char* option, const char* label,
                                             std::size_t offset, std::size_t bound, const char* absent = "") {
  return {column, option, label, offset, bound, FieldKind::kText, absent};
}

// Puts a text into its field. Throws Refusal if it is too long or the library would change it: nothing is ever cut or
// replaced.
void set_text(void* record, const TextField& field, std::string_view text);

// Reads the text that a command takes without an option from standard input if it is "-".
void take_standard_input(std::span<const TextField> fields, std::span<std::string> texts);

// The text that the library stores of a field that it accepts.
[[nodiscard]] std::string stored_text(const void* record, const TextField& field);

// Throws Refusal for what the library would replace.
void require_address(std::string_view text);

[[nodiscard]] const TextField* find_field(std::span<const TextField> fields, std::string_view column);

}  // namespace annalctl
