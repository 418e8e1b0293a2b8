// Replaces a log's file: creates its successor with the same rights, deletes the old file and links the successor into
// its place.
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
constexpr unsigned kFromGroupToOthers = 3;  // the shift from the others' bits to the group's
constexpr char kAccessList[] = "system.posix_acl_access";

// Owner and group come first, so that no one briefly gets rights meant for someone else. With an access list, the
// mode's group bits are the list's mask, so they are only set together with the list.
void keep_rights(int file, const struct stat& old, const char* path) noexcept {
  const mode_t mode = (old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) | kOwners;
  constexpr auto kUnchanged = static_cast<uid_t>(-1);
  if (fchown(file, old.st_uid, old.st_gid) != 0 && fchown(file, kUnchanged, old.st_gid) != 0) {
    // The members of the old group now count as others.
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

// A file with the old one's rights, ready to take the log's name. It is closed first, because closing a file releases
// every lock that this process has on it, and other threads may lock the log as soon as it has its name.
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

  // If another process has created the log meanwhile, its file stays: it may already have entries.
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
  // Nothing comes between these two: a reader that finds no log creates one, with its own rights.
  if (unlink(path) == 0) {
    successor.take_name(path);
  }
}

}  // namespace annal
