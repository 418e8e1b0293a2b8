// Restores the caller's errno at the end of the scope: forwarding fails silently, errno included.
#pragma once

#include <cerrno>

namespace annal {

class KeptErrno {
 public:
  KeptErrno() noexcept : callers_(errno) {}
  ~KeptErrno() { errno = callers_; }
  KeptErrno(const KeptErrno&) = delete;
  KeptErrno& operator=(const KeptErrno&) = delete;

 private:
  int callers_;
};

}  // namespace annal
