// Inspects a log from outside: locks, journals, modes and rights.
//
// The files are opened once, as regular files only, and locked as SQLite's readers lock them; everything else works on
// those descriptors. SQLite sees the log through a private view that keeps its writes in memory, so a check changes
// nothing, even where SQLite would roll back a journal. A log that changed meanwhile is not judged.
#include "tools/annalctl/rescue/inspection.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <memory>
#include <system_error>

#include "tools/annalctl/files/file_lock.h"
#include "tools/annalctl/files/private_view.h"
#include "tools/annalctl/log/diagnosis.h"
#include "tools/annalctl/rescue/interior.h"

namespace annalctl {

namespace {

using std::chrono::steady_clock;

// The file itself, if it exists: its journal is beside it, not beside a link to it.
std::string real_name(const char* path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path, nullptr), std::free);
  return real != nullptr ? real.get() : path;
}

unsigned char byte_of(const RegularFile& file, off_t place) {
  unsigned char byte = 0;
  return pread(file.descriptor(), &byte, 1, place) == 1 ? byte : static_cast<unsigned char>(0);
}

bool writes_ahead(const RegularFile& file) {
  constexpr off_t kReadVersionAt = 19;
  constexpr unsigned char kWriteAhead = 2;
  return byte_of(file, kReadVersionAt) == kWriteAhead;
}

bool is_at(const RegularFile& file, const std::string& path) {
  struct stat open_one {};
  struct stat named {};
  return fstat(file.descriptor(), &open_one) == 0 && stat(path.c_str(), &named) == 0 &&
         open_one.st_ino == named.st_ino && open_one.st_dev == named.st_dev;
}

// Time and size: if these differ, it has changed.
struct Moment {
  explicit Moment(const RegularFile& file) : size(file.size()) {
    struct stat status {};
    if (fstat(file.descriptor(), &status) == 0) {
      seconds = status.st_mtim.tv_sec;
      nanoseconds = status.st_mtim.tv_nsec;
    }
  }
  bool operator==(const Moment&) const = default;

  std::int64_t size;
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
};

// One inspection of one file.
class Inspector {
 public:
  explicit Inspector(const Log& log) : log_(log), path_(real_name(log.path)) {}

  Inspection run() {
    if (look_from_outside() && look_at_neighbours()) {
      if (!look_at_file()) {
        // With the file closed, so that this process is not the one found.
        report(State::kUnknown,
               fmt::format("it is locked by {}, still after {} s (try again later)",
                           lock_holder(log_.path, false).value_or("another process"), kLockWaitMilliseconds / 1000));
      }
      if (inspection_.sound()) {
        look_at_ground();
      }
    }
    return std::move(inspection_);
  }

 private:
  void report(State state, std::string text) { inspection_.findings.push_back({state, std::move(text)}); }

  // Whether there is something to inspect.
  bool look_from_outside() {
    struct stat status {};
    const bool there = stat(log_.path, &status) == 0;
    const bool missing = !there && (errno == ENOENT || errno == ENOTDIR);
    if (there && !S_ISREG(status.st_mode)) {
      report(State::kUnknown, "it is not a file (move it away)");
      return false;
    }
    if (there && access(log_.path, R_OK) == 0 && !begins_as_database(log_.path)) {
      report(State::kDamaged, file_obstacle(log_, Purpose::kReading).value_or("it is not a database"));
      return false;
    }
    if (const auto obstacle = file_obstacle(log_, Purpose::kReading)) {
      report(missing ? State::kFault : State::kUnknown, *obstacle);
      return false;
    }
    if (status.st_size == 0) {
      report(State::kFault,
             fmt::format("it is empty: the log has no table yet (run '{}')", command_for(log_, "create")));
      return false;
    }
    return true;
  }

  // SQLite would wait for a pipe, and fail on anything else.
  bool look_at_neighbours() {
    for (const char* beside : {"-journal", "-wal", "-shm"}) {
      if (neighbour_at(path_ + beside) == Neighbour::kOther) {
        report(State::kUnknown,
               fmt::format("{}{} is in the way of a file of SQLite's own (move it away)", path_, beside));
        return false;
      }
    }
    return true;
  }

  // False if another program keeps it locked.
  bool look_at_file() {
    const auto until = steady_clock::now() + std::chrono::milliseconds(kLockWaitMilliseconds);
    RegularFile file(path_, RegularFile::Links::kRefused);
    for (;;) {
      if (!file.is_open()) {
        report(State::kUnknown,
               fmt::format("it cannot be opened: {} (try again)", std::generic_category().message(file.error())));
        return true;
      }
      switch (ReaderLock::take(file, until)) {
        case ReaderLock::Outcome::kBusy:
          return false;
        case ReaderLock::Outcome::kImpossible:
          report(State::kUnknown,
                 "its file system has no locks, which the library needs (move the log to another one)");
          return true;
        case ReaderLock::Outcome::kHeld:
          break;
      }
      if (is_at(file, path_)) {
        break;
      }
      file = RegularFile(path_, RegularFile::Links::kRefused);  // It was replaced meanwhile.
    }
    if (has_unfinished_change(file)) {
      report(
          State::kUnfinished,
          fmt::format("its last change was interrupted, and what undoes it is in {}-journal: that needs write access "
                      "(run '{}', which undoes it, then check again)",
                      log_.path, command_for(log_, "count")));
      return true;
    }
    return look_at_locked(file, until);
  }

  // A writer that still runs empties its journal itself. A journal with a blank header has been emptied.
  [[nodiscard]] bool has_unfinished_change(const RegularFile& file) const {
    const std::string name = path_ + "-journal";
    if (neighbour_at(name) == Neighbour::kNone || ReaderLock::has_writer(file)) {
      return false;
    }
    const RegularFile journal(name, RegularFile::Links::kRefused);
    return journal.error() != ENOENT && (!journal.is_open() || byte_of(journal, 0) != 0);
  }

  bool look_at_locked(const RegularFile& file, steady_clock::time_point until) {
    const std::string name = path_ + "-wal";
    const bool has_changes = neighbour_at(name) == Neighbour::kFile;
    const bool ahead = writes_ahead(file);
    if (has_changes && !ahead) {
      report(State::kUnknown,
             fmt::format(
                 "{} is not its own, as it is not in write-ahead mode, and yet SQLite would take it for its newest "
                 "changes (move it away, then check again)",
                 name));
      return true;
    }
    const RegularFile none;
    if (!ahead) {
      inspection_ = look_inside(log_, file, none);
      return true;
    }
    const RegularFile shared(path_ + "-shm", RegularFile::Links::kRefused);
    if (shared.is_open() && ReaderLock::take_write_ahead(shared, until) == ReaderLock::Outcome::kBusy) {
      return false;
    }
    const RegularFile changes = has_changes ? RegularFile(name, RegularFile::Links::kRefused) : RegularFile();
    if (has_changes && !changes.is_open()) {
      report(State::kUnknown, fmt::format("its newest changes are in {}, which cannot be opened: {}", name,
                                          std::generic_category().message(changes.error())));
      return true;
    }
    look_at_write_ahead(file, changes);
    return true;
  }

  void look_at_write_ahead(const RegularFile& file, const RegularFile& changes) {
    const std::string name = path_ + "-wal";
    const Moment before(file);
    inspection_ = look_inside(log_, file, changes);
    // Without a shared file there was nothing to lock: a program that came since may have changed the log.
    if (!inspection_.sound() &&
        (Moment(file) != before || (!changes.is_open() && neighbour_at(name) != Neighbour::kNone))) {
      inspection_ = {};
      return report(State::kUnknown, "it changed during the check (check again)");
    }
    if (inspection_.has(State::kDamaged) && changes.is_open() && !look_inside(log_, file, {}).has(State::kDamaged)) {
      inspection_ = {};
      return report(
          State::kUnknown,
          fmt::format("with {}, which SQLite takes for its newest changes, it is damaged, and without it sound: "
                      "that is of another file, or damaged (move it away, then check again)",
                      name));
    }
    auto& findings = inspection_.findings;
    findings.insert(
        findings.begin(),
        {State::kRemark,
         changes.is_open()
             ? fmt::format("it is in write-ahead mode, which the library does not set and works with, and its "
                           "newest changes are in {}",
                           name)
             : "it is in write-ahead mode, which the library does not set and works with"});
  }

  // What prevents even a sound log from taking entries.
  void look_at_ground() {
    if (access(log_.path, W_OK) == 0) {
      return;
    }
    switch (errno) {
      case EROFS:
        return report(State::kFault, "its file system is read-only (mount it for writing)");
      case EPERM:
        return report(State::kFault, fmt::format("it is marked immutable (run 'chattr -i {}')", log_.path));
      default:
        return report(State::kRemark, "this user may read it only");
    }
  }

  const Log& log_;
  std::string path_;
  Inspection inspection_;
};

}  // namespace

Inspection inspect(const Log& log) {
  return Inspector(log).run();
}

}  // namespace annalctl
