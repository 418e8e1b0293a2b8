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

// A file with the old one's rights, ready to get the log's name. It is closed before it gets it, because closing a file
// takes away every lock that this process has on it, and other threads may lock the log as soon as it has its name.
class Successor {
 public:
  Successor(const struct stat& old, const char* path) noexcept {
    if (std::snprintf(name_, sizeof name_, "%s-XXXXXX", path) >= static_cast<int>(sizeof name_)) {
      return;
    }
    const int file = mkostemp(name_, O_CLOEXEC);
    if (file < 0) {
      return;
    }
    created_ = true;
    keep_rights(file, old, path);
    close(file);
    usable_ = faccessat(AT_FDCWD, name_, R_OK | W_OK, AT_EACCESS) == 0;
  }
  ~Successor() {
    if (created_) {
      unlink(name_);
    }
  }
  Successor(const Successor&) = delete;
  Successor& operator=(const Successor&) = delete;

  // Where another process has created the log meanwhile, that one stays: it may have entries already.
  void take_name(const char* path) const noexcept {
    if (usable_) {
      [[maybe_unused]] const int linked = link(name_, path);
    }
  }

 private:
  char name_[PATH_MAX];
  bool created_ = false;
  bool usable_ = false;
};

}  // namespace

void replace_with_empty_file(const char* path) noexcept {
  struct stat old;
  if (stat(path, &old) != 0 || !S_ISREG(old.st_mode)) {
    unlink(path);
    return;
  }
  const NotCancelled not_cancelled;
  const Successor successor(old, path);
  // One right after the other: without a log, a reader creates one, with its own rights.
  if (unlink(path) == 0) {
    successor.take_name(path);
  }
}

}  // namespace annal
