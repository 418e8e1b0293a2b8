// Writing to a command that may not read.
#pragma once

#include <csignal>

namespace annal {

// While it lives, a write to a pipe without a reader fails instead of raising SIGPIPE, whose default would end the
// caller's program. Only this thread is concerned, and a SIGPIPE that was waiting for the caller is left to it.
class HeldSigpipe {
 public:
  HeldSigpipe() noexcept;
  ~HeldSigpipe();
  HeldSigpipe(const HeldSigpipe&) = delete;
  HeldSigpipe& operator=(const HeldSigpipe&) = delete;

 private:
  sigset_t callers_mask_{};
  bool callers_own_ = false;
};

}  // namespace annal
