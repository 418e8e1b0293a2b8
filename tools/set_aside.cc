#include "tools/set_aside.h"

#include <fcntl.h>
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <ctime>
#include <filesystem>
#include <fstream>

#include "tools/failure.h"
#include "tools/file_lock.h"
#include "tools/inspection.h"

namespace annalctl {

namespace {

constexpr char kAside[] = "aside";

[[noreturn]] void fail(const std::string& doing, int error) {
  throw FileFailure(fmt::format("cannot {}: {}", doing, system_message(error)));
}

class Descriptor {
 public:
  Descriptor(const std::string& path, int flags, mode_t mode = 0)
      : number_(open(path.c_str(), flags | O_CLOEXEC, mode)) {
    if (number_ < 0) {
      fail("open " + path, errno);
    }
  }
  ~Descriptor() { close(number_); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

void sync(const std::string& path, int flags) {
  const Descriptor file(path, flags);
  if (fsync(file.number()) != 0) {
    fail("write " + path + " to the disk", errno);
  }
}

struct stat status_of(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    fail("look at " + path, errno);
  }
  return status;
}

void liken(const Descriptor& file, const std::string& path, const struct stat& like) {
  constexpr mode_t kPermissions = 07777;
  // The owner first: changing it may take bits of the mode away.
  if (fchown(file.number(), like.st_uid, like.st_gid) != 0 || fchmod(file.number(), like.st_mode & kPermissions) != 0) {
    fail("give " + path + " the owner and the mode of the log", errno);
  }
}

bool is_there(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0;
}

std::string folder_of(const std::string& path) {
  return std::filesystem::path(path).parent_path().string();
}

}  // namespace

LogLock::LogLock(const std::string& path) : file_(open(path.c_str(), O_RDWR | O_CLOEXEC)) {
  // The bytes that SQLite's file format sets aside for its locks, all of them.
  constexpr off_t kFirst = 0x40000000;
  constexpr off_t kCount = 512;
  constexpr int kPause = 50;
  if (file_ < 0) {
    fail("open " + path + " for writing", errno);
  }
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = kFirst;
  lock.l_len = kCount;
  for (int waited = 0; !held_; waited += kPause) {
    held_ = fcntl(file_, F_OFD_SETLK, &lock) == 0;
    const bool taken = !held_ && (errno == EAGAIN || errno == EACCES);
    if (!held_ && !taken) {
      return;
    }
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

void make_like(const std::string& like, const std::string& path) {
  const Descriptor file(path, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
  liken(file, path, status_of(like));
}

void copy_file(const std::string& from, const std::string& to) {
  constexpr std::size_t kChunk = 65536;
  const Descriptor source(from, O_RDONLY);
  const Descriptor copy(to, O_WRONLY | O_CREAT | O_EXCL, S_IRUSR | S_IWUSR);
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
  liken(copy, to, status_of(from));
  if (fsync(copy.number()) != 0) {
    fail("write " + to + " to the disk", errno);
  }
}

void sync_file(const std::string& path) {
  sync(path, O_RDONLY);
}

void sync_folder_of(const std::string& path) {
  sync(folder_of(path), O_RDONLY | O_DIRECTORY);
}

std::string replace_file(const std::string& path, const std::string& anew) {
  const struct stat old = status_of(path);
  std::string aside;
  if (old.st_nlink > 1) {
    for (const std::string& name : leftovers_of(path, kAside)) {
      const struct stat other = status_of(name);
      aside = other.st_ino == old.st_ino && other.st_dev == old.st_dev ? name : aside;
    }
  }
  if (aside.empty()) {
    aside = free_name(path, kAside);
    if (link(path.c_str(), aside.c_str()) != 0) {
      // Not every file system has second names. None of both ways takes a name that is in use.
      if (errno == EEXIST) {
        fail("name " + aside, errno);
      }
      copy_file(path, aside);
    }
  }
  sync_folder_of(path);
  if (rename(anew.c_str(), path.c_str()) != 0) {
    fail("put " + anew + " in place", errno);
  }
  sync_folder_of(path);
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
