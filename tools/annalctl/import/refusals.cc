// Groups refused lines by reason, so that each reason is printed once.
#include "tools/annalctl/import/refusals.h"

#include <fmt/format.h>

#include <algorithm>
#include <vector>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {

// With the quoted text in it, each line would be a kind of its own.
std::string kind_of(const std::string& reason) {
  std::string kind;
  bool quoted = false;
  for (const char c : reason) {
    quoted = quoted != (c == '\'');
    if (!quoted && !is_digit(c)) {
      kind += c;
    }
  }
  return kind;
}

}  // namespace

std::string grouped(std::uint64_t number) {
  std::string text = std::to_string(number);
  constexpr std::size_t kDigits = 3;
  for (std::size_t place = text.size(); place > kDigits;) {
    place -= kDigits;
    text.insert(place, 1, ',');
  }
  return text;
}

std::string Refusals::add(const std::string& file, std::uint64_t line, const std::string& reason) {
  ++count_;
  const auto [place, fresh] = kinds_.try_emplace(kind_of(reason), Kind{line, 0});
  if (fresh) {
    return fmt::format("{}:{}: {}", file, line, reason);
  }
  ++place->second.more;
  return {};
}

std::string Refusals::rest(const std::string& file) const {
  std::vector<Kind> kinds;
  for (const auto& [text, kind] : kinds_) {
    if (kind.more > 0) {
      kinds.push_back(kind);
    }
  }
  std::sort(kinds.begin(), kinds.end(), [](const Kind& one, const Kind& other) { return one.first < other.first; });
  std::string text;
  for (const Kind& kind : kinds) {
    text += fmt::format("{}{}: {} more like line {}", text.empty() ? "" : "\n", file, grouped(kind.more), kind.first);
  }
  return text;
}

}  // namespace annalctl
