#include "common/recreation.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <climits>
#include <cstdio>
#include <cstdlib>

#include "common/not_cancelled.h"

namespace annal {

namespace {

constexpr mode_t kOwners = S_IRUSR | S_IWUSR;
constexpr mode_t kOthersToGroup = 3;  // bits from the rights of others to those of the group

// Owner and group first: rights are never given to anybody who is about to lose them.
void keep_rights(int file, const struct stat& old) noexcept {
  mode_t mode = (old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO)) | kOwners;
  constexpr auto kUnchanged = static_cast<uid_t>(-1);
  if (fchown(file, old.st_uid, old.st_gid) != 0 && fchown(file, kUnchanged, old.st_gid) != 0) {
    mode = (mode & ~static_cast<mode_t>(S_IRWXG)) | (mode & S_IRWXO) << kOthersToGroup;
  }
  (void)fchmod(file, mode);
}

// Under another name until it is closed: closing a file takes away every lock that this process has on it, and other
// threads may lock the log as soon as it has its name. Where another process has created the log meanwhile, that one
// stays.
void create_like(const struct stat& old, const char* path) noexcept {
  char name[PATH_MAX];
  if (std::snprintf(name, sizeof name, "%s-XXXXXX", path) >= static_cast<int>(sizeof name)) {
    return;
  }
  const NotCancelled not_cancelled;
  const int file = mkostemp(name, O_CLOEXEC);
  if (file < 0) {
    return;
  }
  keep_rights(file, old);
  close(file);
  [[maybe_unused]] const int linked = link(name, path);
  unlink(name);
}

}  // namespace

void start_file_over(const char* path) noexcept {
  struct stat old;
  const bool is_file = stat(path, &old) == 0 && S_ISREG(old.st_mode);
  unlink(path);
  if (is_file) {
    create_like(old, path);
  }
}

}  // namespace annal
