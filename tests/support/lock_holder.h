// Another process that locks a database file.
#pragma once

#include <sys/types.h>

#include <chrono>

namespace annal::test {

class LockHolder {
 public:
  // Returns once it holds the exclusive lock. Releases it after the given time, or when destroyed.
  explicit LockHolder(const char* path, std::chrono::milliseconds release_after = std::chrono::hours(1));
  ~LockHolder();
  LockHolder(const LockHolder&) = delete;
  LockHolder& operator=(const LockHolder&) = delete;

 private:
  pid_t process_;
};

}  // namespace annal::test
