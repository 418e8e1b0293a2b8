// Replaces a log by its new file, and keeps the old files under other names.
//
// Other users may be able to write to the folder, so nothing relies on a name twice: files are created exclusively and
// worked on by descriptor, names are resolved below the open folder, and links are never followed. After waiting for a
// lock, and before the new file gets the log's name, both names are compared with the files that are open.
#include "tools/annalctl/rescue/set_aside.h"

#include <dirent.h>
#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/files/file_lock.h"
#include "tools/annalctl/files/sqlite_format.h"
#include "tools/annalctl/rescue/inspection.h"

namespace annalctl {

namespace {

constexpr char kAside[] = "aside";

[[noreturn]] void fail(const std::string& doing, int error) {
  throw FileFailure(fmt::format("cannot {}: {}", doing, system_message(error)));
}

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  ~Descriptor() {
    if (number_ >= 0) {
      close(number_);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] int number() const { return number_; }
  [[nodiscard]] int release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

struct stat status_of(const Descriptor& file, const std::string& path) {
  struct stat status {};
  if (fstat(file.number(), &status) != 0) {
    fail("look at " + path, errno);
  }
  return status;
}

// A regular file, not a device or folder that another user has put in its place.
struct stat status_of_file(const Descriptor& file, const std::string& path) {
  const struct stat status = status_of(file, path);
  if (!S_ISREG(status.st_mode)) {
    throw FileFailure(fmt::format("{} is not a file", path));
  }
  return status;
}

constexpr char kAcl[] = "system.posix_acl_access";

std::vector<std::string> attributes_of(const Descriptor& file) {
  std::vector<char> names(65536);  // the kernel's limit
  const ssize_t size = flistxattr(file.number(), names.data(), names.size());
  std::vector<std::string> list;
  for (std::size_t place = 0; size > 0 && place < static_cast<std::size_t>(size); place += list.back().size() + 1) {
    list.emplace_back(names.data() + place);
  }
  return list;
}

// Whether the file has the attribute now, or need not have it.
bool copy_attribute(const Descriptor& from, const Descriptor& to, const std::string& name) {
  std::vector<char> value(65536);
  const ssize_t size = fgetxattr(from.number(), name.c_str(), value.data(), value.size());
  if (size < 0) {
    return errno == ENODATA;
  }
  if (fsetxattr(to.number(), name.c_str(), value.data(), static_cast<std::size_t>(size), 0) == 0) {
    return true;
  }
  // A security module or the system decides on these for a new file itself.
  return name != kAcl && !name.starts_with("user.");
}

// Without the log's owner and group, others could read the new file, or its users could not. A user other than root can
// give it only to himself and his groups.
[[noreturn]] void fail_to_give(const std::string& path, const std::string& log, const struct stat& like, int error) {
  if (error != EPERM) {
    fail("give " + path + " the owner and the group of the log", error);
  }
  if (like.st_uid == geteuid()) {
    throw FileFailure(
        fmt::format("cannot give {} the log's group {}, which user {} is not in (as root, run 'chgrp {} {}' "
                    "first, or add the user to that group)",
                    path, like.st_gid, geteuid(), getegid(), log));
  }
  throw FileFailure(
      fmt::format("cannot give {} the log's owner {} (run this as that user or as root)", path, like.st_uid));
}

// Gives a file everything of another one except its contents. Both are open: their names may lead elsewhere by now.
void liken(const Descriptor& file, const std::string& path, const Descriptor& model, const std::string& log) {
  constexpr mode_t kPermissions = 07777;
  const struct stat like = status_of_file(model, path);
  // The owner first: changing it may clear bits of the mode.
  if (fchown(file.number(), like.st_uid, like.st_gid) != 0) {
    fail_to_give(path, log, like, errno);
  }
  bool done = true;
  // The folder's default list for new files could admit users whom the old file kept out. With a list, the mode's group
  // bits limit all its entries.
  done = done && (fremovexattr(file.number(), kAcl) == 0 || errno == ENODATA || errno == EOPNOTSUPP);
  for (const std::string& name : attributes_of(model)) {
    done = done && copy_attribute(model, file, name);
  }
  if (!done || fchmod(file.number(), like.st_mode & kPermissions) != 0) {
    fail("give " + path + " the owner, the mode and the attributes of the log", errno);
  }
}

// A file in the making. Deletes it unless it is completed: a partial file could pass for a whole one.
class Unfinished {
 public:
  Unfinished(const LogFolder& folder, const std::string& name) : folder_(folder), name_(name) {}
  ~Unfinished() {
    if (!finished_) {
      folder_.remove(name_);
    }
  }
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;

  void finish() { finished_ = true; }

 private:
  const LogFolder& folder_;
  const std::string& name_;
  bool finished_ = false;
};

FileId id_from(const struct stat& status) {
  return {status.st_dev, status.st_ino};
}

}  // namespace

FileId id_of(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? id_from(status) : FileId{};
}

LogReplaced::LogReplaced(const std::string& path)
    : FileFailure(fmt::format("{} was replaced by another program meanwhile (try again)", path)) {}

// --- the folder ---

LogFolder::LogFolder(std::string path)
    : path_(std::move(path)), number_(::open(path_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (number_ < 0) {
    fail("open " + path_, errno);
  }
  if (flock(number_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    close(number_);
    throw FileFailure(fmt::format("another salvage is at work in {} (wait until it has ended)", path_));
  }
}

LogFolder::~LogFolder() {
  close(number_);
}

std::string LogFolder::path_of(const std::string& name) const {
  return (std::filesystem::path(path_) / name).string();
}

FileId LogFolder::id_of(const std::string& name) const {
  struct stat status {};
  return fstatat(number_, name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 ? id_from(status) : FileId{};
}

bool LogFolder::has(const std::string& name) const {
  return id_of(name) != FileId{};
}

int LogFolder::open(const std::string& name, int flags, mode_t mode) const {
  const int file = openat(number_, name.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, mode);
  if (file < 0) {
    fail("open " + path_of(name), errno);
  }
  return file;
}

std::string LogFolder::free_name(const std::string& name, const char* kind) const {
  const std::string dated = fmt::format("{}.{}-{:%Y%m%d-%H%M%S}", name, kind, fmt::localtime(std::time(nullptr)));
  std::string free = dated;
  for (int number = 2; has(free) || has(free + "-journal") || has(free + "-wal"); ++number) {
    free = fmt::format("{}-{}", dated, number);
  }
  return free;
}

int LogFolder::create_like(const std::string& model, const std::string& name) const {
  const Descriptor like(open(model, O_RDONLY));
  Descriptor file(open(name, O_RDWR | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
  Unfinished made(*this, name);
  liken(file, path_of(name), like, path_of(model));
  made.finish();
  return file.release();
}

void LogFolder::copy(const std::string& from, const std::string& to) const {
  constexpr std::size_t kChunk = 65536;
  const Descriptor source(open(from, O_RDONLY));
  static_cast<void>(status_of_file(source, path_of(from)));
  const Descriptor copy(open(to, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR));
  Unfinished made(*this, to);
  std::vector<char> buffer(kChunk);
  for (ssize_t got = 0; (got = read(source.number(), buffer.data(), buffer.size())) != 0;) {
    if (got < 0) {
      fail("read " + path_of(from), errno);
    }
    for (ssize_t done = 0; done < got;) {
      const ssize_t written = write(copy.number(), buffer.data() + done, static_cast<std::size_t>(got - done));
      if (written < 0) {
        fail("write " + path_of(to), errno);
      }
      done += written;
    }
  }
  liken(copy, path_of(to), source, path_of(from));
  if (fsync(copy.number()) != 0) {
    fail("write " + path_of(to) + " to the disk", errno);
  }
  made.finish();
}

void LogFolder::copy(const std::string& from, const std::string& to, const std::vector<const char*>& endings) const {
  std::vector<std::string> made;
  try {
    for (const char* ending : endings) {
      if (has(from + ending)) {
        copy(from + ending, to + ending);
        made.push_back(to + ending);
      }
    }
  } catch (const FileFailure&) {
    for (const std::string& name : made) {
      remove(name);
    }
    throw;
  }
}

void LogFolder::remove(const std::string& name) const noexcept {
  static_cast<void>(unlinkat(number_, name.c_str(), 0));
}

void LogFolder::sync() const {
  if (fsync(number_) != 0) {
    fail("write " + path_ + " to the disk", errno);
  }
}

std::string LogFolder::replace(const std::string& name, const FileId& expected, const std::string& new_name,
                               const FileId& expected_new) const {
  if (id_of(name) != expected) {
    throw LogReplaced(path_of(name));
  }
  if (id_of(new_name) != expected_new) {
    throw FileFailure(fmt::format("{} is a different file now, put there by another program", path_of(new_name)));
  }
  std::string aside;
  for (const std::string& leftover : leftovers_of(name, kAside)) {
    aside = id_of(leftover) == expected ? leftover : aside;
  }
  if (aside.empty()) {
    aside = free_name(name, kAside);
    if (linkat(number_, name.c_str(), number_, aside.c_str(), 0) != 0) {
      // Not every file system has hard links. Neither way takes a name that is in use.
      if (errno == EEXIST) {
        fail("name " + path_of(aside), errno);
      }
      copy(name, aside);
    } else if (id_of(aside) != expected) {
      remove(aside);
      throw LogReplaced(path_of(name));
    }
  }
  sync();
  if (renameat(number_, new_name.c_str(), number_, name.c_str()) != 0) {
    fail("put " + path_of(new_name) + " in place", errno);
  }
  sync();
  return aside;
}

std::vector<std::string> LogFolder::leftovers_of(const std::string& name, const char* kind) const {
  const std::string prefix = fmt::format("{}.{}-", name, kind);
  std::vector<std::string> names;
  // Listing moves the position of an open folder, so it gets a descriptor of its own.
  const int listed = openat(number_, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  DIR* const entries = listed < 0 ? nullptr : fdopendir(listed);
  if (entries == nullptr) {
    close(listed);
    return names;
  }
  while (const dirent* const entry = readdir(entries)) {  // NOLINT(concurrency-mt-unsafe): a stream of its own
    if (std::string_view(entry->d_name).starts_with(prefix)) {
      names.emplace_back(entry->d_name);
    }
  }
  closedir(entries);
  std::sort(names.begin(), names.end());
  return names;
}

// --- locks and journals ---

LogLock::LogLock(const LogFolder& folder, const std::string& name, const FileId& expected)
    : file_(folder.open(name, O_RDWR)) {
  constexpr int kPause = 50;
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = kPendingByte;
  lock.l_len = kLockBytes;
  bool can_be_locked = true;
  for (int waited = 0; can_be_locked && !held_; waited += kPause) {
    held_ = fcntl(file_, F_OFD_SETLK, &lock) == 0;
    const bool taken = !held_ && (errno == EAGAIN || errno == EACCES);
    can_be_locked = held_ || taken;
    if (taken && waited >= kLockWaitMilliseconds) {
      close(file_);
      throw FileFailure(
          fmt::format("{} is locked by {}, still after {} s (stop the programs that use it, or try again "
                      "later)",
                      folder.path_of(name), lock_holder(folder.path_of(name).c_str(), true).value_or("another process"),
                      kLockWaitMilliseconds / 1000));
    }
    if (taken) {
      static_cast<void>(poll(nullptr, 0, kPause));
    }
  }
  // The previous holder of the lock may have given the name to another file: then this lock is useless.
  struct stat status {};
  const bool same = fstat(file_, &status) == 0 && id_from(status) == expected;
  if (!same || folder.id_of(name) != expected) {
    close(file_);
    throw LogReplaced(folder.path_of(name));
  }
}

LogLock::~LogLock() {
  close(file_);
}

bool change_is_pending(const std::string& path) {
  struct stat status {};
  // A journal that is kept for the next change has a blank header.
  const bool journal = std::ifstream(path + "-journal", std::ios::binary).get() > 0;
  return journal || (stat((path + "-wal").c_str(), &status) == 0 && status.st_size > 0);
}

}  // namespace annalctl
