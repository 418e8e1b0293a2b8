// Makes stored text safe to print, and measures its width on a terminal.
#include "tools/annalctl/base/printable.h"

#include <fmt/format.h>
#include <locale.h>
#include <wchar.h>

#include <algorithm>
#include <array>
#include <iterator>

namespace annalctl {

namespace {

// One character of a text, or a byte that starts none.
struct Character {
  std::string_view bytes;
  char32_t code;
  bool valid;
};

struct SequenceForm {
  unsigned char mask;
  unsigned char lead;
  std::size_t length;
  char32_t lowest;  // a longer form than necessary is invalid
};

constexpr std::array kForms{
    SequenceForm{0x80, 0x00, 1, 0},
    SequenceForm{0xE0, 0xC0, 2, 0x80},
    SequenceForm{0xF0, 0xE0, 3, 0x800},
    SequenceForm{0xF8, 0xF0, 4, 0x10000},
};

bool is_scalar(char32_t code) {
  return code <= 0x10FFFF && (code < 0xD800 || code > 0xDFFF);
}

Character first_character(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text.front());
  const Character invalid{text.substr(0, 1), lead, false};
  const auto* form = std::find_if(kForms.begin(), kForms.end(),
                                  [lead](const SequenceForm& one) { return (lead & one.mask) == one.lead; });
  if (form == kForms.end() || text.size() < form->length) {
    return invalid;
  }
  char32_t code = lead & static_cast<unsigned char>(~form->mask);
  for (const char next : text.substr(1, form->length - 1)) {
    const auto byte = static_cast<unsigned char>(next);
    if ((byte & 0xC0U) != 0x80U) {
      return invalid;
    }
    code = (code << 6U) | (byte & 0x3FU);
  }
  if (code < form->lowest || !is_scalar(code)) {
    return invalid;
  }
  return {text.substr(0, form->length), code, true};
}

struct CodeRange {
  char32_t first;
  char32_t last;
};

// Control characters, line separators and the marks that change the writing direction.
constexpr std::array kHidden{
    CodeRange{0x00, 0x1F},     CodeRange{0x7F, 0x9F},     CodeRange{0x061C, 0x061C}, CodeRange{0x200E, 0x200F},
    CodeRange{0x2028, 0x202E}, CodeRange{0x2066, 0x2069}, CodeRange{0xFEFF, 0xFEFF},
};

bool is_hidden(char32_t code) {
  return std::any_of(kHidden.begin(), kHidden.end(),
                     [code](const CodeRange& range) { return code >= range.first && code <= range.last; });
}

// Character widths are only known in a UTF-8 locale, and the caller's need not be one.
class Utf8Locale {
 public:
  Utf8Locale() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {
    if (locale_ != nullptr) {
      previous_ = uselocale(locale_);
    }
  }
  ~Utf8Locale() {
    if (locale_ != nullptr) {
      uselocale(previous_);
      freelocale(locale_);
    }
  }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

 private:
  locale_t locale_;
  locale_t previous_ = nullptr;
};

std::size_t width_of(const Character& character) {
  if (character.code < 0x80) {
    return 1;
  }
  const int width = wcwidth(static_cast<wchar_t>(character.code));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

bool is_plain_ascii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

}  // namespace

std::string printable(std::string_view raw) {
  std::string shown;
  shown.reserve(raw.size());
  while (!raw.empty()) {
    const Character character = first_character(raw);
    raw.remove_prefix(character.bytes.size());
    if (!character.valid || (character.code < 0x80 && is_hidden(character.code))) {
      fmt::format_to(std::back_inserter(shown), "\\x{:02x}", static_cast<unsigned>(character.code));
    } else if (is_hidden(character.code)) {
      fmt::format_to(std::back_inserter(shown), "\\u{{{:04x}}}", static_cast<unsigned>(character.code));
    } else {
      shown += character.bytes;
    }
  }
  return shown;
}

bool same_letters(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char one, char other) { return lower(one) == lower(other); });
}

std::optional<std::u32string> characters_of(std::string_view text) {
  std::u32string characters;
  while (!text.empty()) {
    const Character character = first_character(text);
    if (!character.valid) {
      return {};
    }
    characters += character.code;
    text.remove_prefix(character.bytes.size());
  }
  return characters;
}

std::size_t display_width(std::string_view text) {
  if (is_plain_ascii(text)) {
    return text.size();
  }
  const Utf8Locale locale;
  std::size_t width = 0;
  while (!text.empty()) {
    const Character character = first_character(text);
    text.remove_prefix(character.bytes.size());
    width += width_of(character);
  }
  return width;
}

std::string clipped(std::string_view text, std::size_t width) {
  if (display_width(text) <= width) {
    return std::string(text);
  }
  if (width == 0) {
    return {};
  }
  const Utf8Locale locale;
  std::string kept;
  std::size_t used = 1;  // the ellipsis
  while (!text.empty()) {
    const Character character = first_character(text);
    used += width_of(character);
    if (used > width) {
      break;
    }
    kept += character.bytes;
    text.remove_prefix(character.bytes.size());
  }
  return kept + "…";
}

}  // namespace annalctl
