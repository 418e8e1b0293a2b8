// A caller's errno, put back when the owner leaves the scope: handing on a copy fails silently, errno included.
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
