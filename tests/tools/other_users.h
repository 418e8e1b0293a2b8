// Files of several users, and work as one of them.
#pragma once

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <string>

namespace other_users {

inline constexpr uid_t kUser = 1234;
inline constexpr uid_t kOther = 1235;

inline void give(const std::string& path, uid_t user, mode_t mode) {
  ASSERT_EQ(chown(path.c_str(), user, user), 0) << path;
  ASSERT_EQ(chmod(path.c_str(), mode), 0) << path;
}

// Whether the rest of a test can be done: its files belong to several users.
inline bool may_be_others() {
  const char* const probe = "/etc/logs/probe";
  std::ofstream(probe) << "";
  const bool may = geteuid() == 0 && chown(probe, kUser, kUser) == 0 && chown(probe, kOther, kOther) == 0;
  std::filesystem::remove(probe);
  if (!may) {
    std::cout << "[  PARTLY  ] only root, with all users, can do the part of this test in which files are others'\n";
  }
  return may;
}

// Does something as a user without privileges, in a process of its own unless the tests run as one.
inline void as_ordinary_user(const std::function<void()>& work) {
  if (geteuid() != 0 || !may_be_others()) {
    return work();
  }
  const pid_t child = fork();
  if (child == 0) {
    const bool dropped = setresgid(kUser, kUser, kUser) == 0 && setresuid(kUser, kUser, kUser) == 0;
    if (dropped && access(ANNALCTL, X_OK) != 0) {
      std::cout << "[  PARTLY  ] other users cannot run the program where it was built\n";
      _exit(0);
    }
    work();
    _exit(dropped && !testing::Test::HasFailure() ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
}

}  // namespace other_users
