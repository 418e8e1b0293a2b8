// The argument vector of a command: pointers, and one text area for the formatted arguments.
#pragma once

#include <cstddef>
#include <string_view>

namespace annal {

// Both are bounded, as the commands' argument lists have always been. An argument that does not fit the text area is
// cut, and those after it are empty; arguments beyond the maximum number are dropped.
class ArgumentVector {
 public:
  static constexpr std::size_t kMaxEntries = 64;  // including the closing null pointer

  // entries: the size of this command's vector, including the closing null pointer.
  explicit ArgumentVector(std::size_t entries = kMaxEntries) noexcept : max_arguments_(entries - 1) {
    entries_[0] = nullptr;
    text_[kTextRoom] = '\0';
  }

  // Adds an argument that outlives the vector, as it is.
  void add(const char* argument) noexcept {
    if (!full()) {
      entries_[count_++] = argument;
      entries_[count_] = nullptr;
    }
  }

  // Builds an argument in the text area: a name followed by a value. Most arguments have this form, and a formatter
  // would cost more. A batch builds a dozen for each record; inlining makes a name's length a constant.
  [[gnu::always_inline]] void join(std::string_view name, std::string_view value = "") noexcept {
    if (name.size() + value.size() >= kTextRoom - used_) {
      join_what_fits(name, value);
      return;
    }
    char* const text = text_ + used_;
    add(text);
    char* const end = copy(copy(text, name), value);
    *end = '\0';
    used_ += static_cast<std::size_t>(end + 1 - text);
  }

  // Formats an argument into the text area.
  [[gnu::format(printf, 2, 3)]] void format(const char* format, ...) noexcept;

  // Whether a further argument would be dropped.
  [[nodiscard]] bool full() const noexcept { return count_ == max_arguments_; }

  // False once formatting an argument has failed: do not run such a command.
  [[nodiscard]] bool complete() const noexcept { return complete_; }

  // For exec, which does not change its arguments.
  [[nodiscard]] char* const* argv() const noexcept { return const_cast<char* const*>(entries_); }

 private:
  static constexpr std::size_t kTextRoom = 10240;

  // The caller has checked the room for all pieces; a checked memcpy would cost a call for each name.
  static char* copy(char* to, std::string_view piece) noexcept {
    __builtin_memcpy(to, piece.data(), piece.size());
    return to + piece.size();
  }

  void join_what_fits(std::string_view name, std::string_view value) noexcept;

  // Not cleared: the arrays are large, and only what has been written is ever read.
  const char* entries_[kMaxEntries];  // null after the last
  std::size_t count_ = 0;
  std::size_t max_arguments_;
  char text_[kTextRoom + 1];  // the last byte serves as the empty text of arguments that do not fit
  std::size_t used_ = 0;
  bool complete_ = true;
};

}  // namespace annal
