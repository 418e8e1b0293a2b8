// Writes a command's buffered input to its pipe.
#include "common/command_input.h"

#include <unistd.h>

#include <cerrno>

namespace annal {

void CommandInput::flush() noexcept {
  const char* next = buffer_;
  while (used_ > 0) {
    const ssize_t written = write(descriptor_, next, used_);
    if (written < 0 && errno == EINTR) {
      continue;
    }
    if (written <= 0) {
      if (written < 0 && errno == EPIPE) {
        held_.note_failed_write();
      }
      used_ = 0;
      return;
    }
    next += written;
    used_ -= static_cast<std::size_t>(written);
  }
}

}  // namespace annal
