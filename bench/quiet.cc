// Linked into a benchmark, these come before the C library's own: no other process is started, so that what the library
// does for its consumers up to there is measured, and what starting them costs the machine is not.
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "common/recorder.h"

extern "C" std::FILE* popen(const char* /*command*/, const char* /*mode*/) {
  errno = EAGAIN;
  return nullptr;
}

// The first that starting a command takes is a stack for it.
extern "C" void* mmap(void* address, std::size_t length, int protection, int flags, int descriptor,
                      off_t offset) noexcept {
  if ((flags & MAP_STACK) != 0) {
    errno = EAGAIN;
    return MAP_FAILED;
  }
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the system call answers with a number
  return reinterpret_cast<void*>(syscall(SYS_mmap, address, length, protection, flags, descriptor, offset));
}

// The first that handing an entry to the recorder takes is a look at whether there is one.
extern "C" int stat(const char* path, struct stat* found) noexcept {
  if (std::strcmp(path, annal::kRecorderInstalled) == 0) {
    errno = ENOENT;
    return -1;
  }
  return fstatat(AT_FDCWD, path, found, 0);
}
