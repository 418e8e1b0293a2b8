// The argument vector of a command: pointers, and one text area in which formatted arguments lie one after another.
#pragma once

#include <cstddef>
#include <string_view>

namespace annal {

// Bounded in both: no argument list can grow beyond what the commands have always been given. An argument that does not
// fit the text area is cut, those behind it are empty; arguments beyond the number are dropped.
class ArgumentVector {
 public:
  static constexpr std::size_t kMostEntries = 64;  // the closing null pointer included

  // entries: how many this command's vector has, the closing null pointer included.
  explicit ArgumentVector(std::size_t entries = kMostEntries) noexcept : most_arguments_(entries - 1) {
    entries_[0] = nullptr;
    text_[kTextRoom] = '\0';
  }

  // An argument that outlives the vector, handed over as it is.
  void add(const char* argument) noexcept {
    if (!full()) {
      entries_[count_++] = argument;
      entries_[count_] = nullptr;
    }
  }

  // An argument put together in the text area, a name before its value: what most are made of, without a formatter's
  // cost. A batch makes a dozen for each of its records; expanded where it is called, a name's length is a constant.
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

  // An argument formatted into the text area.
  [[gnu::format(printf, 2, 3)]] void format(const char* format, ...) noexcept;

  // Whether a further argument would be dropped.
  [[nodiscard]] bool full() const noexcept { return count_ == most_arguments_; }

  // False once an argument could not be formatted: such a command is not to be run.
  [[nodiscard]] bool complete() const noexcept { return complete_; }

  // For exec, which does not change what it is given.
  [[nodiscard]] char* const* argv() const noexcept { return const_cast<char* const*>(entries_); }

 private:
  static constexpr std::size_t kTextRoom = 10240;

  // The one check for all pieces has been made: a checked memcpy would be a call for each name.
  static char* copy(char* to, std::string_view piece) noexcept {
    __builtin_memcpy(to, piece.data(), piece.size());
    return to + piece.size();
  }

  void join_what_fits(std::string_view name, std::string_view value) noexcept;

  // Not cleared: they are large, and only what has been written is ever read.
  const char* entries_[kMostEntries];  // null behind the last
  std::size_t count_ = 0;
  std::size_t most_arguments_;
  char text_[kTextRoom + 1];  // the last byte is the text of what finds no room at all
  std::size_t used_ = 0;
  bool complete_ = true;
};

}  // namespace annal
