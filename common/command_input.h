// Writing to the standard input of a command.
#pragma once

#include <cstddef>

#include "common/held_sigpipe.h"

namespace annal {

// Buffers what is written, because every write to a pipe wakes the reader. Continues after a signal handler of the
// caller's interrupts a write, where stdio would drop its buffer. A command that does not read loses its input without
// any other effect: the SIGPIPE is held and dropped.
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
