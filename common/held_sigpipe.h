// Writing to a command that may not read.
#pragma once

#include <csignal>

namespace annal {

// While it lives, a write to a pipe without a reader fails instead of raising SIGPIPE, whose default would end the
// caller's program. Only this thread is concerned, and every other SIGPIPE is left to the caller: one that was waiting
// before, and one that somebody sends meanwhile.
class HeldSigpipe {
 public:
  HeldSigpipe() noexcept;
  ~HeldSigpipe();
  HeldSigpipe(const HeldSigpipe&) = delete;
  HeldSigpipe& operator=(const HeldSigpipe&) = delete;

  // A write has found no reader, so that a signal is waiting which is not the caller's.
  void note_failed_write() noexcept { raised_ = true; }

 private:
  sigset_t callers_mask_{};
  bool callers_own_ = false;
  bool raised_ = false;
};

}  // namespace annal
