// Finds in a text what differs from one repeat to the next.
#include "tools/annalctl/query/fold.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {

constexpr char kAnyNumber = '#';
constexpr char kUser = '@';

bool is_hexadecimal(char c) {
  return is_digit(c) || (lower(c) >= 'a' && lower(c) <= 'f');
}

// Letters of any language, too: their bytes are beyond ASCII.
bool belongs_to_word(char c) {
  return is_digit(c) || is_letter(c) || c == '_' || static_cast<unsigned char>(c) >= 0x80U;
}

bool begins_word(std::string_view text, std::size_t place) {
  return place == 0 || !belongs_to_word(text[place - 1]);
}

bool ends_word(std::string_view text, std::size_t place) {
  return place == text.size() || !belongs_to_word(text[place]);
}

// The length of what consists of some characters from a place on.
template <typename Belongs>
std::size_t run(std::string_view text, std::size_t place, Belongs belongs) {
  const auto* const from = text.begin() + static_cast<std::ptrdiff_t>(place);
  return static_cast<std::size_t>(std::find_if_not(from, text.end(), belongs) - from);
}

std::size_t occurrences(std::string_view text, char c) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), c));
}

// "fe80::1", "00:1b:44:11:3a:b7", a UUID, a digest: 0 for what is none of them.
std::size_t hexadecimal_at(std::string_view text, std::size_t place) {
  if (!begins_word(text, place)) {
    return 0;
  }
  // Longer than a digest of 512 bits, and short enough to be looked at again from each word in it.
  constexpr std::size_t kLongest = 136;
  std::size_t length = run(text.substr(0, std::min(text.size(), place + kLongest)), place,
                           [](char c) { return is_hexadecimal(c) || c == ':' || c == '.' || c == '-'; });
  while (length > 0 && !is_hexadecimal(text[place + length - 1])) {
    --length;
  }
  if (!ends_word(text, place + length)) {
    return 0;
  }
  constexpr std::size_t kColonsOfAddress = 2;
  constexpr std::size_t kHyphensOfUuid = 4;
  constexpr std::size_t kShortestDigest = 8;
  const std::string_view word = text.substr(place, length);
  const bool digits = std::any_of(word.begin(), word.end(), is_digit);
  const bool whole = std::all_of(word.begin(), word.end(), is_hexadecimal);
  const bool is_one = occurrences(word, ':') >= kColonsOfAddress || occurrences(word, '-') >= kHyphensOfUuid ||
                      (whole && length >= kShortestDigest);
  return digits && is_one ? length : 0;
}

// "42", "3.5", "10:15:03", "2026-11-21", "10.0.0.5", "0x1f"
std::size_t number_at(std::string_view text, std::size_t place) {
  if (!is_digit(text[place])) {
    return 0;
  }
  if (text.substr(place).starts_with("0x")) {
    const std::size_t digits = run(text, place + 2, is_hexadecimal);
    return digits == 0 ? 1 : digits + 2;
  }
  std::size_t end = place;
  while (true) {
    end += run(text, end, is_digit);
    const bool goes_on = end + 1 < text.size() && std::string_view(".,:-").find(text[end]) != std::string_view::npos &&
                         is_digit(text[end + 1]);
    if (!goes_on) {
      return end - place;
    }
    ++end;
  }
}

std::size_t user_at(std::string_view text, std::size_t place, std::string_view user) {
  const bool here = !user.empty() && text.substr(place).starts_with(user) && begins_word(text, place) &&
                    ends_word(text, place + user.size());
  return here ? user.size() : 0;
}

std::string_view text_of(sqlite3_value* value) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  if (text == nullptr) {
    if (sqlite3_value_type(value) != SQLITE_NULL) {
      throw std::bad_alloc();
    }
    return {};
  }
  return {text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

void fold(sqlite3_context* context, int /*count*/, sqlite3_value** values) {
  try {
    const std::string text = folded(text_of(values[0]), text_of(values[1]));
    sqlite3_result_text64(context, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  }
}

}  // namespace

std::string folded(std::string_view text, std::string_view user) {
  const std::string_view name = user == "---" ? std::string_view() : user;
  std::string common;
  common.reserve(text.size());
  for (std::size_t place = 0; place < text.size();) {
    if (const std::size_t length = user_at(text, place, name); length > 0) {
      common += kUser;
      place += length;
    } else if (const std::size_t number = std::max(hexadecimal_at(text, place), number_at(text, place)); number > 0) {
      common += kAnyNumber;
      place += number;
    } else {
      common += text[place++];
    }
  }
  return common;
}

void add_folding(const SqliteDatabase& database) {
  sqlite3_create_function_v2(database.handle(), "fold", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, fold, nullptr,
                             nullptr, nullptr);
}

}  // namespace annalctl
