// Limits the number of a process's children.
#pragma once

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>
#include <iterator>

#include "tests/support/recordings.h"

namespace annal::test {

// Allows N processes besides this one. Needs root: the process becomes an otherwise unused user, because all of a
// user's processes and threads, including a sanitizer's, count against the limit.
inline void allow_processes(rlim_t more) {
  std::filesystem::permissions(kRecordings, std::filesystem::perms::all);
  const uid_t lonely = 0x40000000U + static_cast<uid_t>(getpid());
  const auto own = static_cast<rlim_t>(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}));
  const rlimit limit{own + more, own + more};
  ASSERT_EQ(setrlimit(RLIMIT_NPROC, &limit), 0);
  ASSERT_EQ(setresuid(lonely, lonely, lonely), 0);
}

}  // namespace annal::test
