// A number as a text, for the arguments of a command.
#pragma once

#include <charconv>
#include <limits>

namespace annal {

template <typename Integer>
class Decimal {
 public:
  explicit Decimal(Integer number) noexcept { *std::to_chars(text_, text_ + kMostDigits, number).ptr = '\0'; }

  [[nodiscard]] const char* text() const noexcept { return text_; }

 private:
  static constexpr int kMostDigits = std::numeric_limits<Integer>::digits10 + 2;  // with a sign
  char text_[kMostDigits + 1];
};

}  // namespace annal
