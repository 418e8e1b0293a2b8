// Blocks SIGPIPE for one thread and removes only the signals that the library's own writes caused.
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

bool is_pending() noexcept {
  sigset_t pending;
  sigemptyset(&pending);
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

HeldSigpipe::HeldSigpipe() noexcept : callers_own_(is_pending()) {
  const sigset_t sigpipe = only_sigpipe();
  pthread_sigmask(SIG_BLOCK, &sigpipe, &callers_mask_);
}

HeldSigpipe::~HeldSigpipe() {
  if (raised_) {
    // The write's signal was sent to this thread, so sigtimedwait takes it before one that was sent to the process. If
    // the caller's was also sent to this thread, the two have merged; raise it again.
    const sigset_t sigpipe = only_sigpipe();
    const std::timespec no_wait{};
    sigtimedwait(&sigpipe, nullptr, &no_wait);  // does not wait, so nothing can interrupt it
    if (callers_own_ && !is_pending()) {
      (void)raise(SIGPIPE);
    }
  }
  pthread_sigmask(SIG_SETMASK, &callers_mask_, nullptr);
}

}  // namespace annal
