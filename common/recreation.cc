#include "common/recreation.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "common/not_cancelled.h"

namespace annal {

namespace {

constexpr mode_t kOwners = S_IRUSR | S_IWUSR;
constexpr unsigned kFromGroupToOthers = 3;  // how far the rights of others are from those of the group
constexpr char kAccessList[] = "system.posix_acl_access";

// Owner and group first: rights are never given to anybody who is about to lose them. With an access list, what the
// mode says of the group is the list's mask: it is only set together with the list.
void keep_rights(int file, const struct stat& old, const char* path) noexcept {
  const mode_t mode = (old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) | kOwners;
  constexpr auto kUnchanged = static_cast<uid_t>(-1);
  if (fchown(file, old.st_uid, old.st_gid) != 0 && fchown(file, kUnchanged, old.st_gid) != 0) {
    // The old group's members are others now.
    const mode_t group = (mode & S_IRWXO) << kFromGroupToOthers;
    const mode_t others = mode & S_IRWXO & ((mode & S_IRWXG) >> kFromGroupToOthers);
    (void)fchmod(file, (mode & S_IRWXU) | group | others);
    return;
  }
  char list[1024];
  const ssize_t length = getxattr(path, kAccessList, list, sizeof list);
  const bool has_list = length > 0 || (length < 0 && errno == ERANGE);
  (void)fchmod(file, has_list ? mode & ~static_cast<mode_t>(S_IRWXG) : mode);
  if (length > 0) {
    (void)fsetxattr(file, kAccessList, list, static_cast<std::size_t>(length), 0);
  }
}

// Puts an empty file with the old one's rights in its place, and never leaves the name without a file: a reader would
// create one with rights of its own. The new file is closed before it gets the name, because closing a file takes away
// every lock that this process has on it, and other threads may lock the log as soon as it has its name. False, with
// nothing changed, where that does not work, or where this process could not use the new file.
bool replace_with_empty(const struct stat& old, const char* path) noexcept {
  char name[PATH_MAX];
  if (std::snprintf(name, sizeof name, "%s-XXXXXX", path) >= static_cast<int>(sizeof name)) {
    return false;
  }
  const NotCancelled not_cancelled;
  const int file = mkostemp(name, O_CLOEXEC);
  if (file < 0) {
    return false;
  }
  keep_rights(file, old, path);
  close(file);
  if (faccessat(AT_FDCWD, name, R_OK | W_OK, AT_EACCESS) == 0 && rename(name, path) == 0) {
    return true;
  }
  unlink(name);
  return false;
}

}  // namespace

void start_file_over(const char* path) noexcept {
  struct stat old;
  if (stat(path, &old) == 0 && S_ISREG(old.st_mode) && replace_with_empty(old, path)) {
    return;
  }
  unlink(path);
}

}  // namespace annal
