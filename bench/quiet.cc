// Replaces C library functions in a benchmark so that no process starts. The benchmark then measures the library's own
// work for its consumers, not the cost of starting them.
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

// The first step of starting a command is to map a stack.
extern "C" void* mmap(void* address, std::size_t length, int protection, int flags, int descriptor,
                      off_t offset) noexcept {
  if ((flags & MAP_STACK) != 0) {
    errno = EAGAIN;
    return MAP_FAILED;
  }
  // NOLINTNEXTLINE(performance-no-int-to-ptr): the system call returns a number
  return reinterpret_cast<void*>(syscall(SYS_mmap, address, length, protection, flags, descriptor, offset));
}

// The first step of forwarding to the recorder is to check whether it is installed.
extern "C" int stat(const char* path, struct stat* found) noexcept {
  if (std::strcmp(path, annal::kRecorderInstalled) == 0) {
    errno = ENOENT;
    return -1;
  }
  return fstatat(AT_FDCWD, path, found, 0);
}
