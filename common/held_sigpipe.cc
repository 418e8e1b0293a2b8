#include "common/held_sigpipe.h"

#include <ctime>

namespace annal {

namespace {

sigset_t only_sigpipe() noexcept {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

}  // namespace

HeldSigpipe::HeldSigpipe() noexcept {
  sigset_t pending;
  sigemptyset(&pending);
  sigpending(&pending);
  callers_own_ = sigismember(&pending, SIGPIPE) == 1;
  const sigset_t sigpipe = only_sigpipe();
  pthread_sigmask(SIG_BLOCK, &sigpipe, &callers_mask_);
}

HeldSigpipe::~HeldSigpipe() {
  if (!callers_own_) {
    const sigset_t sigpipe = only_sigpipe();
    const std::timespec at_once{};
    sigtimedwait(&sigpipe, nullptr, &at_once);  // which does not wait, so that nothing can interrupt it
  }
  pthread_sigmask(SIG_SETMASK, &callers_mask_, nullptr);
}

}  // namespace annal
