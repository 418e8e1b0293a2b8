// Lets SQLite open a file that this process holds open, wherever its name leads by now.
#include "tools/annalctl/rescue/pinned_file.h"

#include <fcntl.h>
#include <sqlite3.h>
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

// SQLite's own calls. Where its time_t is shorter than here, so is the status that it has room for: only its calls may
// fill that.
using StatusOfFile = int (*)(int file, void* status);
using StatusOfPath = int (*)(const char* path, void* status);
StatusOfFile status_of_file = nullptr;

template <StatusOfPath& status_of_path>
int status_of_pinned(const char* path, void* status) {
  if (is_pinned(path)) {
    return status_of_file(pinned_file, status);
  }
  if (is_beside(path)) {
    errno = ENOENT;
    return -1;
  }
  return status_of_path(path, status);
}

StatusOfPath status_through_links = nullptr;
StatusOfPath status_of_link = nullptr;

int unlink_pinned(const char* path) {
  if (is_pinned(path) || is_beside(path)) {
    errno = ENOENT;
    return -1;
  }
  return unlink(path);
}

template <class Call>
void find(sqlite3_vfs* files, const char* name, Call& call) {
  call = reinterpret_cast<Call>(files->xGetSystemCall(files, name));
}

// Every system call by which SQLite uses a name. Null restores SQLite's own.
void set_calls(bool pinned) {
  sqlite3_vfs* const files = sqlite3_vfs_find("unix");
  if (pinned) {
    find(files, "fstat", status_of_file);
    find(files, "stat", status_through_links);
    find(files, "lstat", status_of_link);
  }
  const struct {
    const char* name;
    sqlite3_syscall_ptr call;
  } calls[] = {
      {"open", reinterpret_cast<sqlite3_syscall_ptr>(open_pinned)},
      {"stat", reinterpret_cast<sqlite3_syscall_ptr>(status_of_pinned<status_through_links>)},
      {"lstat", reinterpret_cast<sqlite3_syscall_ptr>(status_of_pinned<status_of_link>)},
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
