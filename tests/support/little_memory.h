// Limits the growth of a process's address space.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstddef>
#include <fstream>

namespace annal::test {

// Lets this process's address space grow by N bytes. Commands inherit the limit, so the process first grows enough to
// leave them room.
class LittleMemory {
 public:
  explicit LittleMemory(std::size_t room)
      : ballast_(mmap(nullptr, kBallast, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {
    EXPECT_NE(ballast_, MAP_FAILED);
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    getrlimit(RLIMIT_AS, &before_);
    const rlimit limit{pages * static_cast<std::size_t>(getpagesize()) + room, before_.rlim_max};
    EXPECT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
  }
  ~LittleMemory() {
    setrlimit(RLIMIT_AS, &before_);
    munmap(ballast_, kBallast);
  }
  LittleMemory(const LittleMemory&) = delete;
  LittleMemory& operator=(const LittleMemory&) = delete;

 private:
  static constexpr std::size_t kBallast = std::size_t{256} << 20U;
  void* ballast_;
  rlimit before_{};
};

// No room for a child's stack, and room for a small one only.
inline constexpr std::size_t kLittleRooms[] = {0, std::size_t{100} * 1024};

}  // namespace annal::test
