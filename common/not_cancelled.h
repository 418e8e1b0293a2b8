// Keeps a thread from being cancelled in the middle of a call.
#pragma once

#include <pthread.h>

namespace annal {

// A thread cancelled while it has a log open, or a child to wait for, would leak the descriptor, the lock or a zombie
// for the life of the process. While this object lives, a cancellation request waits.
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
