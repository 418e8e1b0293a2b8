// Another process that holds a database file's lock.
#pragma once

#include <sys/types.h>

#include <chrono>

namespace annal::test {

class LockHolder {
 public:
  // Holds the exclusive lock when this returns, and lets go of it after a while, or else when it is destroyed.
  explicit LockHolder(const char* path, std::chrono::milliseconds release_after = std::chrono::hours(1));
  ~LockHolder();
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

 private:
  pid_t process_;
};

}  // namespace annal::test
