// Wraps RE2.
#include "tools/annalctl/base/regex.h"

#include <fmt/format.h>
#include <re2/re2.h>

#include <cstddef>

#include "tools/annalctl/base/failure.h"

namespace annalctl {

Regex::Regex(const std::string& expression, Letters letters, Text text) {
  RE2::Options options;
  options.set_log_errors(false);
  options.set_case_sensitive(letters == Letters::kAsTheyAre);
  options.set_encoding(text == Text::kUtf8 ? RE2::Options::EncodingUTF8 : RE2::Options::EncodingLatin1);
  expression_ = std::make_unique<RE2>(expression, options);
  if (!expression_->ok()) {
    throw Refusal(fmt::format("'{}' is not a regular expression: {}", expression, expression_->error()));
  }
  for (const auto& [place, name] : expression_->CapturingGroupNames()) {
    places_.push_back(place);
    names_.push_back(name);
  }
}

Regex::~Regex() = default;
Regex::Regex(Regex&& other) noexcept = default;
Regex& Regex::operator=(Regex&& other) noexcept = default;

bool Regex::found_in(std::string_view text) const {
  return expression_->Match({text.data(), text.size()}, 0, text.size(), RE2::UNANCHORED, nullptr, 0);
}

bool Regex::find_groups(std::string_view text, std::vector<std::string_view>& groups) const {
  std::vector<re2::StringPiece> found(places_.empty() ? 1 : static_cast<std::size_t>(places_.back()) + 1);
  if (!expression_->Match({text.data(), text.size()}, 0, text.size(), RE2::UNANCHORED, found.data(),
                          static_cast<int>(found.size()))) {
    return false;
  }
  groups.clear();
  for (const int place : places_) {
    const re2::StringPiece& part = found[static_cast<std::size_t>(place)];
    groups.emplace_back(part.data() == nullptr ? std::string_view() : std::string_view(part.data(), part.size()));
  }
  return true;
}

}  // namespace annalctl
