// Checks UTF-8 character by character against a table of valid first and second bytes.
#include "tools/export/clean_text.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace exporter {

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";

// A kind of character by its first byte. The second byte has narrower bounds where shorter forms, surrogates or
// characters above U+10FFFF would begin; further ones are 80 to BF.
struct Kind {
  std::uint8_t first_least;
  std::uint8_t first_most;
  std::uint8_t second_least;
  std::uint8_t second_most;
  std::size_t length;
};
constexpr Kind kKinds[] = {
    {0x01, 0x7F, 0x00, 0x00, 1}, {0xC2, 0xDF, 0x80, 0xBF, 2}, {0xE0, 0xE0, 0xA0, 0xBF, 3},
    {0xE1, 0xEC, 0x80, 0xBF, 3}, {0xED, 0xED, 0x80, 0x9F, 3}, {0xEE, 0xEF, 0x80, 0xBF, 3},
    {0xF0, 0xF0, 0x90, 0xBF, 4}, {0xF1, 0xF3, 0x80, 0xBF, 4}, {0xF4, 0xF4, 0x80, 0x8F, 4},
};

bool within(char byte, std::uint8_t least, std::uint8_t most) {
  const auto value = static_cast<std::uint8_t>(byte);
  return value >= least && value <= most;
}

// Of the character in front, or 0.
std::size_t length_of_character(std::string_view text) {
  const auto* const kind = std::find_if(std::begin(kKinds), std::end(kKinds), [&text](const Kind& one) {
    return within(text.front(), one.first_least, one.first_most);
  });
  if (kind == std::end(kKinds) || text.size() < kind->length) {
    return 0;
  }
  for (std::size_t i = 1; i < kind->length; ++i) {
    if (!within(text[i], i == 1 ? kind->second_least : 0x80, i == 1 ? kind->second_most : 0xBF)) {
      return 0;
    }
  }
  return kind->length;
}

}  // namespace

bool is_clean(std::string_view text) {
  while (!text.empty()) {
    const std::size_t length = length_of_character(text);
    if (length == 0) {
      return false;
    }
    text.remove_prefix(length);
  }
  return true;
}

std::string cleaned(std::string_view text) {
  std::string clean;
  while (!text.empty()) {
    const std::size_t length = length_of_character(text);
    clean += length == 0 ? kReplacement : text.substr(0, length);
    text.remove_prefix(std::max<std::size_t>(length, 1));
  }
  return clean;
}

}  // namespace exporter
