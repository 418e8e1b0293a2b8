// A number as a text, for the arguments of a command.
#pragma once

#include <charconv>
#include <cstddef>
#include <limits>
#include <string_view>

namespace annal {

template <typename Integer>
class Decimal {
 public:
  explicit Decimal(Integer number) noexcept
      : length_(static_cast<std::size_t>(std::to_chars(text_, text_ + kMaxDigits, number).ptr - text_)) {}

  [[nodiscard]] std::string_view text() const noexcept { return {text_, length_}; }

 private:
  static constexpr int kMaxDigits = std::numeric_limits<Integer>::digits10 + 2;  // with a sign
  char text_[kMaxDigits];
  std::size_t length_;
};

}  // namespace annal
