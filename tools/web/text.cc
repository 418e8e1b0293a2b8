// Escapes text for HTML and for addresses, shortens it by characters, and groups a number's digits.
#include "tools/web/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <optional>

#include "tools/annalctl/base/printable.h"

namespace annal_web {

namespace {

struct CodeRange {
  char32_t first;
  char32_t last;
};

// Beside what steers a terminal: characters that take no room or look like a blank, and choose between forms of others.
constexpr std::array kInvisible{
    CodeRange{0x00AD, 0x00AD}, CodeRange{0x034F, 0x034F},   CodeRange{0x115F, 0x1160},   CodeRange{0x17B4, 0x17B5},
    CodeRange{0x180B, 0x180F}, CodeRange{0x200B, 0x200D},   CodeRange{0x2060, 0x206F},   CodeRange{0x2800, 0x2800},
    CodeRange{0x3164, 0x3164}, CodeRange{0xFE00, 0xFE0F},   CodeRange{0xFFA0, 0xFFA0},   CodeRange{0xFFF0, 0xFFFB},
    CodeRange{0xFFFE, 0xFFFF}, CodeRange{0x1D173, 0x1D17A}, CodeRange{0x1BCA0, 0x1BCA3}, CodeRange{0xE0000, 0xE0FFF},
};

bool is_invisible(char32_t code) {
  return std::any_of(kInvisible.begin(), kInvisible.end(),
                     [code](const CodeRange& range) { return code >= range.first && code <= range.last; });
}

// What the text begins with: a character, or a byte that starts none.
std::string_view first_piece(std::string_view text) {
  constexpr std::size_t kLongest = 4;
  for (std::size_t length = 1; length <= std::min(kLongest, text.size()); ++length) {
    if (annalctl::characters_of(text.substr(0, length))) {
      return text.substr(0, length);
    }
  }
  return text.substr(0, 1);
}

// Nothing for a character that is shown as it is.
std::optional<std::string> escape_of(std::string_view piece) {
  std::string printable = annalctl::printable(piece);
  if (printable != piece) {
    return printable;
  }
  if (const auto code = annalctl::characters_of(piece); code && is_invisible(code->front())) {
    return fmt::format("\\u{{{:04x}}}", static_cast<unsigned>(code->front()));
  }
  return {};
}

const char* entity_of(char c) {
  switch (c) {
    case '&':
      return "&amp;";
    case '<':
      return "&lt;";
    case '>':
      return "&gt;";
    case '"':
      return "&quot;";
    case '\'':
      return "&#39;";
    default:
      return nullptr;
  }
}

bool is_plain(char c) {
  return c >= ' ' && c <= '~' && entity_of(c) == nullptr;
}

struct Marks {
  const char* begin;
  const char* end;
};

std::string with_escapes(std::string_view raw, const Marks& marks) {
  std::string out;
  out.reserve(raw.size());
  bool marking = false;
  const auto mark = [&out, &marking, &marks](bool on) {
    if (on != marking) {
      out += on ? marks.begin : marks.end;
      marking = on;
    }
  };
  while (!raw.empty()) {
    const auto plain = static_cast<std::size_t>(std::find_if_not(raw.begin(), raw.end(), is_plain) - raw.begin());
    if (plain > 0) {
      mark(false);
      out += raw.substr(0, plain);
      raw.remove_prefix(plain);
      continue;
    }
    const std::string_view piece = first_piece(raw);
    const std::optional<std::string> escape = escape_of(piece);
    mark(escape.has_value());
    const char* const entity = piece.size() == 1 ? entity_of(piece.front()) : nullptr;
    out += entity != nullptr ? std::string_view(entity) : escape ? std::string_view(*escape) : piece;
    raw.remove_prefix(piece.size());
  }
  mark(false);
  return out;
}

}  // namespace

std::string escaped(std::string_view raw) {
  return with_escapes(raw, {"", ""});
}

std::string marked(std::string_view raw) {
  return with_escapes(raw, {"<span class=\"escape\">", "</span>"});
}

std::string shortened(std::string_view raw, std::size_t most) {
  std::size_t end = 0;
  for (std::size_t characters = 0; end < raw.size(); ++characters) {
    if (characters == most) {
      return std::string(raw.substr(0, end)) + "…";
    }
    end += first_piece(raw.substr(end)).size();
  }
  return std::string(raw);
}

std::string encoded(std::string_view raw) {
  constexpr std::string_view kAsIs = "-._~";
  std::string out;
  for (const char c : raw) {
    const bool as_is = annalctl::is_letter(c) || annalctl::is_digit(c) || kAsIs.find(c) != std::string_view::npos;
    out += as_is ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return out;
}

std::string grouped(unsigned long long number) {
  std::string digits = fmt::to_string(number);
  constexpr std::size_t kGroup = 3;
  for (std::size_t place = digits.size(); place > kGroup;) {
    place -= kGroup;
    digits.insert(place, 1, ',');
  }
  return digits;
}

}  // namespace annal_web
