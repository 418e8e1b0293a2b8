// Keeps SIGPIPE from the caller while a command that may not read gets its input.
#pragma once

#include <csignal>

namespace annal {

// While it lives, a write to a pipe without a reader fails instead of raising SIGPIPE, which would kill the caller's
// program by default. Affects only this thread. The caller still gets every other SIGPIPE: one that was already
// pending, and one that another process sends meanwhile.
class HeldSigpipe {
 public:
  HeldSigpipe() noexcept;
  ~HeldSigpipe();
  HeldSigpipe(const HeldSigpipe&) = delete;
  HeldSigpipe& operator=(const HeldSigpipe&) = delete;

  // A write found no reader, so a SIGPIPE is pending that is not the caller's.
  void note_failed_write() noexcept { raised_ = true; }

 private:
  sigset_t callers_mask_{};
  bool callers_own_ = false;
  bool raised_ = false;
};

}  // namespace annal
