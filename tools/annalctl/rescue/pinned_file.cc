// Lets SQLite open a file that this process holds open, wherever its name leads by now.
#include "tools/annalctl/rescue/pinned_file.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace annalctl {

namespace {

std::string pinned_path;
int pinned_file = -1;

bool is_pinned(const char* path) {
  return pinned_path == path;
}

bool is_beside(const char* path) {
  return std::strncmp(path, pinned_path.c_str(), pinned_path.size()) == 0 && path[pinned_path.size()] == '-';
}

int open_pinned(const char* path, int flags, int mode) {
  if (is_pinned(path)) {
    return fcntl(pinned_file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
  }
  if (is_beside(path)) {
    errno = ENOENT;
    return -1;
  }
  return open(path, flags, static_cast<mode_t>(mode));
}

using StatusOf = int (*)(const char* path, struct stat* status);

template <StatusOf status_of>
int status_of_pinned(const char* path, struct stat* status) {
  if (is_pinned(path)) {
    return fstat(pinned_file, status);
  }
  if (is_beside(path)) {
    errno = ENOENT;
    return -1;
  }
  return status_of(path, status);
}

int unlink_pinned(const char* path) {
  if (is_pinned(path) || is_beside(path)) {
    errno = ENOENT;
    return -1;
  }
  return unlink(path);
}

// Every system call by which SQLite uses a name. Null restores SQLite's own.
void set_calls(bool pinned) {
  sqlite3_vfs* const files = sqlite3_vfs_find("unix");
  const struct {
    const char* name;
    sqlite3_syscall_ptr call;
  } calls[] = {
      {"open", reinterpret_cast<sqlite3_syscall_ptr>(open_pinned)},
      {"stat", reinterpret_cast<sqlite3_syscall_ptr>(status_of_pinned<stat>)},
      {"lstat", reinterpret_cast<sqlite3_syscall_ptr>(status_of_pinned<lstat>)},
      {"unlink", reinterpret_cast<sqlite3_syscall_ptr>(unlink_pinned)},
  };
  for (const auto& [name, call] : calls) {
    static_cast<void>(files->xSetSystemCall(files, name, pinned ? call : nullptr));
  }
}

}  // namespace

PinnedFile::PinnedFile(const std::string& path, int file) {
  pinned_path = path;
  pinned_file = file;
  set_calls(true);
}

PinnedFile::~PinnedFile() {
  set_calls(false);
  pinned_path.clear();
  pinned_file = -1;
}

}  // namespace annalctl
