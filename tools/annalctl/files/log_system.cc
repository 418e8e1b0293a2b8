// A layer between SQLite and the operating system's files, through which this process opens every database.
//
// The library knows its logs by fixed paths and waits for locks by sleeping. This layer leads those paths elsewhere,
// opens files read-only, and during a long sleep tells at the terminal which process holds the lock. It finds that
// process in /proc/locks: opening the log to ask would, on closing, drop this process's locks on it.
#include "tools/annalctl/files/log_system.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sqlite3.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/files/file_lock.h"
#include "tools/annalctl/files/sqlite_format.h"

namespace annalctl {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::seconds kWorthTelling{1};
// Between two sleeps of one wait SQLite only retries the lock.
constexpr std::chrono::milliseconds kOneWait{50};

struct Wait {
  Clock::time_point begun;
  Clock::time_point slept;
  bool told = false;
};

struct System {
  sqlite3_vfs* real = nullptr;
  sqlite3_vfs own{};
  std::map<std::string, std::string> ways;
  bool read_only = false;
  std::string opened;  // the database that was opened last
  Wait wait;
};

System& the_system() {
  static System system;
  return system;
}

// False if writing could block this thread, which may hold a lock itself.
bool standard_error_takes_a_line() {
  pollfd descriptor{STDERR_FILENO, POLLOUT, 0};
  return poll(&descriptor, 1, 0) == 1 && (descriptor.revents & POLLOUT) != 0;
}

void tell_of(Wait& wait, const std::string& path) {
  if (wait.told || Clock::now() - wait.begun < kWorthTelling || !standard_error_takes_a_line()) {
    return;
  }
  wait.told = true;
  complain(
      fmt::format("waiting for {}, which is locked by {}", path, listed_lock_holder(path).value_or("another process")));
}

// --- called by SQLite, so these must not throw ---

int sleep_for(sqlite3_vfs* /*system*/, int microseconds) noexcept {
  System& system = the_system();
  const auto now = Clock::now();
  if (now - system.wait.slept > kOneWait) {
    system.wait = {now, now};
  }
  const int slept = system.real->xSleep(system.real, microseconds);
  system.wait.slept = Clock::now();
  try {
    tell_of(system.wait, system.opened);
  } catch (...) {  // the wait matters, not the line
  }
  return slept;
}

int full_name(sqlite3_vfs* /*system*/, const char* name, int size, char* to) noexcept {
  System& system = the_system();
  try {
    const auto way = system.ways.find(name);
    return system.real->xFullPathname(system.real, way == system.ways.end() ? name : way->second.c_str(), size, to);
  } catch (...) {
    return SQLITE_NOMEM;
  }
}

// Without shared memory, which would be a file beside the log. So a log in write-ahead mode cannot be opened.
void take_shared_memory_from(sqlite3_file* file) {
  static sqlite3_io_methods methods;
  if (file->pMethods != nullptr) {
    methods = *file->pMethods;
    methods.iVersion = 1;
    file->pMethods = &methods;
  }
}

int open_file(sqlite3_vfs* /*system*/, const char* name, sqlite3_file* file, int flags, int* out_flags) noexcept {
  constexpr int kOfLog = SQLITE_OPEN_MAIN_DB | SQLITE_OPEN_MAIN_JOURNAL | SQLITE_OPEN_WAL | SQLITE_OPEN_SUPER_JOURNAL;
  System& system = the_system();
  const bool of_log = (flags & kOfLog) != 0;
  if ((flags & SQLITE_OPEN_MAIN_DB) != 0 && name != nullptr) {
    try {
      system.opened = name;
    } catch (...) {
      file->pMethods = nullptr;
      return SQLITE_NOMEM;
    }
  }
  if (!system.read_only || !of_log) {
    return system.real->xOpen(system.real, name, file, flags, out_flags);
  }
  flags = (flags & ~(SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE)) | SQLITE_OPEN_READONLY;
  const int code = system.real->xOpen(system.real, name, file, flags, out_flags);
  if (code == SQLITE_OK && (flags & SQLITE_OPEN_MAIN_DB) != 0) {
    take_shared_memory_from(file);
  }
  return code;
}

int delete_file(sqlite3_vfs* /*system*/, const char* name, int sync) noexcept {
  const System& system = the_system();
  return system.read_only ? static_cast<int>(SQLITE_IOERR_DELETE) : system.real->xDelete(system.real, name, sync);
}

struct ListedLock {
  std::string kind;  // POSIX or OFDLCK
  bool writes = false;
  pid_t process = 0;
  std::string file;  // major:minor:inode
  off_t begin = 0;
};

// "1: POSIX  ADVISORY  WRITE 1234 08:01:131078 1073741824 1073742335"
std::optional<ListedLock> listed_lock(const std::string& line) {
  std::istringstream words(line);
  std::string number;
  std::string advisory;
  std::string mode;
  ListedLock lock;
  if (!(words >> number >> lock.kind >> advisory >> mode >> lock.process >> lock.file >> lock.begin)) {
    return {};
  }
  lock.writes = mode == "WRITE";
  return lock;
}

}  // namespace

void install_log_system() {
  System& system = the_system();
  system.ways.clear();
  system.read_only = false;
  system.wait = {};
  if (system.real != nullptr) {
    return;
  }
  system.real = sqlite3_vfs_find(nullptr);
  if (system.real == nullptr) {
    return;
  }
  system.own = *system.real;
  system.own.pNext = nullptr;
  system.own.zName = "annalctl";
  system.own.xOpen = open_file;
  system.own.xDelete = delete_file;
  system.own.xFullPathname = full_name;
  system.own.xSleep = sleep_for;
  static_cast<void>(sqlite3_vfs_register(&system.own, 1));
}

void lead_log(const std::string& from, const std::string& to) {
  the_system().ways[from] = to;
}

void read_logs_only() {
  the_system().read_only = true;
}

bool logs_are_read_only() {
  return the_system().read_only;
}

std::optional<std::string> listed_lock_holder(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) {
    return {};
  }
  const std::string file = fmt::format("{:02x}:{:02x}:{}", major(status.st_dev), minor(status.st_dev), status.st_ino);
  std::optional<std::string> holder;
  std::ifstream locks("/proc/locks");
  for (std::string line; std::getline(locks, line);) {
    const std::optional<ListedLock> lock = listed_lock(line);
    const bool of_sqlite = lock && lock->file == file && lock->begin >= kPendingByte &&
                           lock->begin < kPendingByte + kLockBytes && lock->process != getpid();
    // A reader only delays the end of a change.
    if (of_sqlite && (lock->writes || !holder)) {
      holder = process_name(lock->process);
    }
  }
  return holder;
}

}  // namespace annalctl
