// A process that may have few others.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>

#include "tests/support/recordings.h"

namespace annal::test {

// Lets this process have so many more, itself not counted. Only root can: it becomes a user whom nobody else is, since
// every process of a user's counts against its limit, and every thread, a sanitizer's own too.
inline void allow_processes(rlim_t more) {
  std::filesystem::permissions(kRecordings, std::filesystem::perms::all);
  const uid_t lonely = 0x40000000U + static_cast<uid_t>(getpid());
  const auto own = static_cast<rlim_t>(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}));
  const rlimit limit{own + more, own + more};
  ASSERT_EQ(setrlimit(RLIMIT_NPROC, &limit), 0);
  ASSERT_EQ(setresuid(lonely, lonely, lonely), 0);
}

}  // namespace annal::test
