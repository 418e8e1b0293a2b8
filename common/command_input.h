// Writing to the standard input of a command.
#pragma once

#include <cstddef>

#include "common/held_sigpipe.h"

namespace annal {

// Collects what is written, because every write to a pipe wakes the reader, and goes on where a signal handler of the
// caller's interrupted it: stdio would drop what it had collected. A command that does not read loses its input, and
// nobody else notices: the signal that comes of it is held, and dropped.
class CommandInput {
 public:
  CommandInput(int descriptor, HeldSigpipe& held) noexcept : descriptor_(descriptor), held_(held) {}
  ~CommandInput() { flush(); }
  CommandInput(const CommandInput&) = delete;
  CommandInput& operator=(const CommandInput&) = delete;

  void put(char byte) noexcept {
    if (used_ == sizeof buffer_) {
      flush();
    }
    buffer_[used_++] = byte;
  }

  void put(const char* text) noexcept {
    for (; *text != '\0'; ++text) {
      put(*text);
    }
  }

 private:
  void flush() noexcept;

  char buffer_[4096];
  std::size_t used_ = 0;
  int descriptor_;
  HeldSigpipe& held_;
};

}  // namespace annal
