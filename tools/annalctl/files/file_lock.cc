// Asks the kernel which process holds SQLite's locks.
#include "tools/annalctl/files/file_lock.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <unistd.h>

#include <array>
#include <fstream>

#include "tools/annalctl/files/sqlite_format.h"

namespace annalctl {

namespace {

struct LockRange {
  off_t begin;
  off_t size;
  bool stops_readers;  // A reserved lock announces a write and admits readers until it happens.
};

constexpr std::array kLockRanges{
    LockRange{kPendingByte, 1, true},
    LockRange{kReservedByte, 1, false},
    LockRange{kSharedFirst, kSharedSize, true},
};

}  // namespace

std::string process_name(pid_t process) {
  if (process <= 0) {
    return "another process";  // of another machine or container, or an open file's own lock
  }
  std::string name;
  std::ifstream file(fmt::format("/proc/{}/comm", process));
  if (!std::getline(file, name)) {
    return fmt::format("process {}", process);
  }
  return fmt::format("process {} ({})", process, name);
}

std::optional<std::string> lock_holder(const char* path, bool writing) {
  const int file = open(path, O_RDONLY | O_CLOEXEC);
  if (file < 0) {
    return {};
  }
  std::optional<std::string> holder;
  for (const LockRange& range : kLockRanges) {
    if (!writing && !range.stops_readers) {
      continue;
    }
    struct flock lock {};
    lock.l_type = static_cast<short>(writing ? F_WRLCK : F_RDLCK);
    lock.l_whence = SEEK_SET;
    lock.l_start = range.begin;
    lock.l_len = range.size;
    if (!holder && fcntl(file, F_GETLK, &lock) == 0 && lock.l_type != F_UNLCK) {
      holder = process_name(lock.l_pid);
    }
  }
  // Closing drops this process's own locks on the file. It has none: every call of the library has returned.
  close(file);
  return holder;
}

}  // namespace annalctl
