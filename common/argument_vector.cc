// Formatted arguments, and those that do not fit the text area.
#include "common/argument_vector.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>

namespace annal {

void ArgumentVector::join_what_fits(std::string_view name, std::string_view value) noexcept {
  char* to = text_ + used_;
  add(to);
  if (used_ == kTextRoom) {
    return;
  }
  const char* const last = text_ + kTextRoom - 1;
  for (const std::string_view piece : {name, value}) {
    to = copy(to, {piece.data(), std::min(piece.size(), static_cast<std::size_t>(last - to))});
  }
  *to++ = '\0';
  used_ = static_cast<std::size_t>(to - text_);
}

// NOLINTNEXTLINE(cert-dcl50-cpp): the compiler checks the arguments against the format
void ArgumentVector::format(const char* format, ...) noexcept {
  if (full()) {
    return;
  }
  const std::size_t room = kTextRoom - used_;
  va_list values;
  va_start(values, format);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the analyzer misses the line above in a variadic member
  const int length = std::vsnprintf(text_ + used_, room, format, values);
  va_end(values);
  if (length < 0) {
    complete_ = false;
    return;
  }
  add(text_ + used_);
  used_ += std::min(room, static_cast<std::size_t>(length) + 1);
}

}  // namespace annal
