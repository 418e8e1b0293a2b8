// Checks that a file will fit before it is written.
#include "tools/annalctl/rescue/disk_space.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <algorithm>

#include "tools/annalctl/rescue/set_aside.h"

namespace annalctl {

namespace {

std::string mebibytes(std::uint64_t bytes) {
  constexpr double kMebibyte = 1 << 20U;
  return fmt::format("{:.1f} MiB", static_cast<double>(bytes) / kMebibyte);
}

}  // namespace

void require_room(const std::string& folder, std::uint64_t bytes) {
  struct statvfs system {};
  if (statvfs(folder.c_str(), &system) != 0) {
    return;  // Then writing tells.
  }
  const std::uint64_t blocks = geteuid() == 0 ? system.f_bfree : system.f_bavail;
  const std::uint64_t free = blocks * system.f_frsize;
  if (free < bytes) {
    throw FileFailure(fmt::format("{} has {} free, and a second log takes up to {} (make room first)", folder,
                                  mebibytes(free), mebibytes(bytes)));
  }
}

std::uint64_t space_of(const std::string& path) {
  constexpr std::uint64_t kBlock = 512;
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return 0;
  }
  return std::min(static_cast<std::uint64_t>(status.st_size), static_cast<std::uint64_t>(status.st_blocks) * kBlock);
}

}  // namespace annalctl
