// Keeping a thread from being cancelled in the middle of a call.
#pragma once

#include <pthread.h>

namespace annal {

// A thread that is cancelled while it has a log open, or a child to wait for, would leave the descriptor, the lock or a
// zombie behind for as long as the process lives. While this lives, a request to be cancelled waits.
class NotCancelled {
 public:
  NotCancelled() noexcept { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_); }
  ~NotCancelled() { pthread_setcancelstate(before_, nullptr); }
  NotCancelled(const NotCancelled&) = delete;
  NotCancelled& operator=(const NotCancelled&) = delete;

 private:
  int before_ = PTHREAD_CANCEL_ENABLE;
};

}  // namespace annal
