// Compares both address checks with an independent parser.
#include <algorithm>
#include <array>
#include <cctype>
#include <cstring>
#include <limits>
#include <memory>

#include "Corix_annal.h"
#include "tests/fuzz/fuzz.h"

namespace {

using annal::fuzz::require;

std::vector<std::string> split(const std::string& text, char at) {
  std::vector<std::string> parts(1);
  for (const char c : text) {
    if (c == at) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

bool all_of(const std::string& text, int (*kind)(int)) {
  return std::all_of(text.begin(), text.end(), [kind](char c) { return kind(static_cast<unsigned char>(c)) != 0; });
}

// One to three digits without leading zeros, up to 255.
bool is_byte(const std::string& part) {
  return !part.empty() && part.size() <= 3 && all_of(part, std::isdigit) && (part.size() == 1 || part[0] != '0') &&
         std::stoi(part) <= 255;
}

bool is_ipv4(const std::string& text) {
  const std::vector<std::string> parts = split(text, '.');
  return parts.size() == 4 && std::all_of(parts.begin(), parts.end(), is_byte);
}

// The number of 16-bit groups in a text with colons, or nothing if it is invalid. The last group may be an IPv4
// address, which counts as two.
std::optional<std::size_t> groups_in(const std::string& text, bool ends_address) {
  if (text.empty()) {
    return 0;
  }
  const std::vector<std::string> parts = split(text, ':');
  std::size_t groups = 0;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    if (ends_address && i + 1 == parts.size() && is_ipv4(parts[i])) {
      groups += 2;
    } else if (!parts[i].empty() && parts[i].size() <= 4 && all_of(parts[i], std::isxdigit)) {
      ++groups;
    } else {
      return {};
    }
  }
  return groups;
}

bool is_ipv6(const std::string& text) {
  constexpr std::size_t kGroups = 8;
  const std::size_t gap = text.find("::");
  if (gap == std::string::npos) {
    return groups_in(text, true) == kGroups;
  }
  const auto before = groups_in(text.substr(0, gap), false);
  const auto behind = groups_in(text.substr(gap + 2), true);
  return before && behind && *before + *behind < kGroups;
}

// A number as scanf reads it: blanks, a sign, digits. It is clamped to a long and truncated to an int.
bool take_number(const char*& text) {
  while (std::isspace(static_cast<unsigned char>(*text)) != 0) {
    ++text;
  }
  const bool negative = *text == '-';
  if (*text == '-' || *text == '+') {
    ++text;
  }
  if (std::isdigit(static_cast<unsigned char>(*text)) == 0) {
    return false;
  }
  const auto highest = static_cast<unsigned long>(std::numeric_limits<long>::max());
  const unsigned long furthest = negative ? highest + 1 : highest;
  unsigned long number = 0;
  for (; std::isdigit(static_cast<unsigned char>(*text)) != 0; ++text) {
    const auto digit = static_cast<unsigned long>(*text - '0');
    number = number > (furthest - digit) / 10 ? furthest : number * 10 + digit;
  }
  return static_cast<unsigned>(negative ? 0 - number : number) <= 255;
}

bool is_quad_and_more(const std::string& text) {
  const char* rest = text.c_str();
  for (int part = 0; part < 4; ++part) {
    if ((part > 0 && *rest++ != '.') || !take_number(rest)) {
      return false;
    }
  }
  return true;
}

struct Answer {
  int code;
  std::string text;
};

Answer expected(const std::string& given, bool (*is_other)(const std::string&)) {
  constexpr std::string_view kMapped = "::ffff:";
  std::string text = given.substr(0, given.find('%'));
  if (is_ipv6(text)) {
    std::string head = text.substr(0, kMapped.size());
    std::transform(head.begin(), head.end(), head.begin(), [](unsigned char c) { return std::tolower(c); });
    return {ANNAL_OK, head == kMapped ? text.substr(kMapped.size()) : text};
  }
  return {is_other(text) ? ANNAL_OK : ANNAL_BAD_ARGUMENT, text};
}

void compare(int (*check)(char*) noexcept, const std::string& given, const Answer& wanted) {
  // Exactly as long as the text, so that a sanitizer detects a write after it.
  const auto buffer = std::make_unique<char[]>(given.size() + 1);
  std::memcpy(buffer.get(), given.c_str(), given.size() + 1);
  const int code = check(buffer.get());
  require(code == wanted.code, "the answer " + std::to_string(code) + " for '" + given + "'");
  require(wanted.text == buffer.get(), "'" + given + "' became '" + buffer.get() + "', not '" + wanted.text + "'");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::string text(reinterpret_cast<const char*>(data), size);
  text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
  compare(&annal_checkip, text, expected(text, &is_ipv4));
  compare(&pavo2log_checkip, text, expected(text, &is_quad_and_more));
  // A normalised address must pass the check again.
  std::string again = expected(text, &is_ipv4).text;
  if (annal_checkip(again.data()) == ANNAL_OK) {
    compare(&annal_checkip, again, expected(again, &is_ipv4));
  }
  return 0;
}
