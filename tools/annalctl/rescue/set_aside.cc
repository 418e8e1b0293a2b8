// Replaces a log by its new file, and keeps the old files under other names.
#include "tools/annalctl/rescue/set_aside.h"

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
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/folder.h"
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
  Descriptor(const std::string& path, int flags, mode_t mode = 0)
      : number_(open(path.c_str(), flags | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK, mode)) {
    if (number_ < 0) {
      fail("open " + path, errno);
    }
  }
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

// A file, and no device or folder that somebody has put in its place.
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

// Whether the file has it now, or need not.
bool copy_attribute(const Descriptor& from, const Descriptor& to, const std::string& name) {
  std::vector<char> value(65536);
  const ssize_t size = fgetxattr(from.number(), name.c_str(), value.data(), value.size());
  if (size < 0) {
    return errno == ENODATA;
  }
  if (fsetxattr(to.number(), name.c_str(), value.data(), static_cast<std::size_t>(size), 0) == 0) {
    return true;
  }
  // What a security module or the system itself has written there it decides on for a new file too.
  return name != kAcl && !name.starts_with("user.");
}

// Without the log's owner and group others could read the new file, or its users no longer. Who is not root can give it
// only to himself and to his groups.
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

// Gives a file what another one has but its contents. Both are open: their names may lead elsewhere by now.
void liken(const Descriptor& file, const std::string& path, const Descriptor& model, const std::string& log) {
  constexpr mode_t kPermissions = 07777;
  const struct stat like = status_of_file(model, path);
  // The owner first: changing it may take bits of the mode away.
  if (fchown(file.number(), like.st_uid, like.st_gid) != 0) {
    fail_to_give(path, log, like, errno);
  }
  bool done = true;
  // A list that the folder gives to new files would let in whom the old one kept out, and with a list the bits of the
  // group in the mode are the most that any of its entries allows.
  done = done && (fremovexattr(file.number(), kAcl) == 0 || errno == ENODATA || errno == EOPNOTSUPP);
  for (const std::string& name : attributes_of(model)) {
    done = done && copy_attribute(model, file, name);
  }
  if (!done || fchmod(file.number(), like.st_mode & kPermissions) != 0) {
    fail("give " + path + " the owner, the mode and the attributes of the log", errno);
  }
}

bool is_there(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

// A file that is being made. Unless that succeeds there is none: a part of one would pass for the whole.
class Unfinished {
 public:
  explicit Unfinished(const std::string& path) : path_(path) {}
  ~Unfinished() {
    if (!finished_) {
      unlink(path_.c_str());
    }
  }
  Unfinished(const Unfinished&) = delete;
  Unfinished& operator=(const Unfinished&) = delete;

  void finish() { finished_ = true; }

 private:
  const std::string& path_;
  bool finished_ = false;
};

std::string name_of(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

FileId id_below(const Descriptor& folder, const std::string& name) {
  struct stat status {};
  return fstatat(folder.number(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0
             ? FileId{status.st_dev, status.st_ino}
             : FileId{};
}

void sync_folder(const Descriptor& folder, const std::string& path) {
  if (fsync(folder.number()) != 0) {
    fail("write " + folder_of(path) + " to the disk", errno);
  }
}

}  // namespace

FileId id_of(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? FileId{status.st_dev, status.st_ino} : FileId{};
}

LogReplaced::LogReplaced(const std::string& path)
    : FileFailure(fmt::format("{} was replaced by another program meanwhile (try again)", path)) {}

SalvageLock::SalvageLock(const std::string& log)
    : folder_(open(folder_of(log).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
  if (folder_ >= 0 && flock(folder_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    close(folder_);
    throw FileFailure(fmt::format("another salvage is at work in {} (wait until it has ended)", folder_of(log)));
  }
}

SalvageLock::~SalvageLock() {
  if (folder_ >= 0) {
    close(folder_);
  }
}

LogLock::LogLock(const std::string& path, const FileId& expected)
    : file_(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK)) {
  constexpr int kPause = 50;
  if (file_ < 0) {
    fail("open " + path + " for writing", errno);
  }
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
                      path, lock_holder(path.c_str(), true).value_or("another process"), kLockWaitMilliseconds / 1000));
    }
    if (taken) {
      static_cast<void>(poll(nullptr, 0, kPause));
    }
  }
  // The one that had the lock may have given the name to another file, and this lock is of no use then.
  struct stat status {};
  const bool same = fstat(file_, &status) == 0 && FileId{status.st_dev, status.st_ino} == expected;
  if (!same || id_of(path) != expected) {
    close(file_);
    throw LogReplaced(path);
  }
}

LogLock::~LogLock() {
  close(file_);
}

bool change_is_pending(const std::string& path) {
  struct stat status {};
  // A journal that is kept for the next change has its beginning blanked out.
  const bool journal = std::ifstream(path + "-journal", std::ios::binary).get() > 0;
  return journal || (stat((path + "-wal").c_str(), &status) == 0 && status.st_size > 0);
}

std::string free_name(const std::string& path, const char* kind) {
  const std::string dated = fmt::format("{}.{}-{:%Y%m%d-%H%M%S}", path, kind, fmt::localtime(std::time(nullptr)));
  std::string name = dated;
  for (int number = 2; is_there(name) || is_there(name + "-journal") || is_there(name + "-wal"); ++number) {
    name = fmt::format("{}-{}", dated, number);
  }
  return name;
}

int create_like(const std::string& like, const std::string& path) {
  const Descriptor model(like, O_RDONLY);
  Descriptor file(path, O_RDWR | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
  Unfinished made(path);
  liken(file, path, model, like);
  made.finish();
  return file.release();
}

void copy_file(const std::string& from, const std::string& to) {
  constexpr std::size_t kChunk = 65536;
  const Descriptor source(from, O_RDONLY);
  static_cast<void>(status_of_file(source, from));
  const Descriptor copy(to, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
  Unfinished made(to);
  std::vector<char> buffer(kChunk);
  for (ssize_t got = 0; (got = read(source.number(), buffer.data(), buffer.size())) != 0;) {
    if (got < 0) {
      fail("read " + from, errno);
    }
    for (ssize_t done = 0; done < got;) {
      const ssize_t written = write(copy.number(), buffer.data() + done, static_cast<std::size_t>(got - done));
      if (written < 0) {
        fail("write " + to, errno);
      }
      done += written;
    }
  }
  liken(copy, to, source, from);
  if (fsync(copy.number()) != 0) {
    fail("write " + to + " to the disk", errno);
  }
  made.finish();
}

void copy_files(const std::string& from, const std::string& to, const std::vector<const char*>& endings) {
  std::vector<std::string> made;
  try {
    for (const char* ending : endings) {
      if (is_there(from + ending)) {
        copy_file(from + ending, to + ending);
        made.push_back(to + ending);
      }
    }
  } catch (const FileFailure&) {
    for (const std::string& copy : made) {
      unlink(copy.c_str());
    }
    throw;
  }
}

void sync_folder_of(const std::string& path) {
  sync_folder(Descriptor(folder_of(path), O_RDONLY | O_DIRECTORY), path);
}

// All names are below the folder that is open: what its own name leads to may have changed since it was looked at.
std::string replace_file(const std::string& path, const FileId& expected, const std::string& anew,
                         const FileId& expected_anew) {
  const Descriptor folder(folder_of(path), O_RDONLY | O_DIRECTORY);
  const std::string name = name_of(path);
  if (id_below(folder, name) != expected) {
    throw LogReplaced(path);
  }
  if (id_below(folder, name_of(anew)) != expected_anew) {
    throw FileFailure(fmt::format("{} is another file now, which somebody has put there", anew));
  }
  std::string aside;
  for (const std::string& leftover : leftovers_of(path, kAside)) {
    aside = id_below(folder, name_of(leftover)) == expected ? leftover : aside;
  }
  if (aside.empty()) {
    aside = free_name(path, kAside);
    const std::string second = name_of(aside);
    if (linkat(folder.number(), name.c_str(), folder.number(), second.c_str(), 0) != 0) {
      // Not every file system has second names. None of both ways takes a name that is in use.
      if (errno == EEXIST) {
        fail("name " + aside, errno);
      }
      copy_file(path, aside);
    } else if (id_below(folder, second) != expected) {
      unlinkat(folder.number(), second.c_str(), 0);
      throw LogReplaced(path);
    }
  }
  sync_folder(folder, path);
  if (renameat(folder.number(), name_of(anew).c_str(), folder.number(), name.c_str()) != 0) {
    fail("put " + anew + " in place", errno);
  }
  sync_folder(folder, path);
  return aside;
}

std::vector<std::string> leftovers_of(const std::string& path, const char* kind) {
  const std::string prefix = fmt::format("{}.{}-", std::filesystem::path(path).filename().string(), kind);
  std::vector<std::string> names;
  std::error_code unreadable;
  for (const auto& entry : std::filesystem::directory_iterator(folder_of(path), unreadable)) {
    if (entry.path().filename().string().starts_with(prefix)) {
      names.push_back(entry.path().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace annalctl
