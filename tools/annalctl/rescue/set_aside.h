// The files of a log that is replaced: nothing that was in one may be gone at any moment, whatever happens.
#pragma once

#include <sys/types.h>

#include <stdexcept>
#include <string>
#include <vector>

namespace annalctl {

class FileFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Which file a name leads to.
struct FileId {
  dev_t device = 0;
  ino_t inode = 0;  // 0: to none

  bool operator==(const FileId&) const = default;
};

[[nodiscard]] FileId id_of(const std::string& path);

// Another program has put another file in the place of a log since it was looked at: to be done again from the
// beginning.
class LogReplaced : public FileFailure {
 public:
  explicit LogReplaced(const std::string& path);
};

// Lets one salvage at a time work in a folder: of two of the same log, the second would set aside what the first had
// made, with all that was stored in it since.
class SalvageLock {
 public:
  // Throws FileFailure when another one is at work. Where folders cannot be locked, nothing is.
  explicit SalvageLock(const std::string& log);
  ~SalvageLock();
  SalvageLock(const SalvageLock&) = delete;
  SalvageLock& operator=(const SalvageLock&) = delete;

 private:
  int folder_;
};

// Keeps every other program out of a log, as long as it asks SQLite for the lock. Unlike SQLite's own lock it is not
// given up when this process closes another descriptor of the file.
class LogLock {
 public:
  // Waits for those that have it. Throws FileFailure when they keep it, or the file cannot be opened for writing, and
  // LogReplaced when the name leads to another file than the expected one by then.
  LogLock(const std::string& path, const FileId& expected);
  ~LogLock();
  LogLock(const LogLock&) = delete;
  LogLock& operator=(const LogLock&) = delete;

  // False where the file system knows no locks.
  [[nodiscard]] bool held() const { return held_; }

 private:
  int file_;
  bool held_ = false;
};

// Whether something stands beside the log that SQLite applies to the file of that name before it reads it: what undoes
// a change that was cut off, or changes that were written ahead. While a change is being made it looks the same.
[[nodiscard]] bool change_is_pending(const std::string& path);

// All of these throw FileFailure.

// PATH.KIND-20261121-160155, with a number behind it if anything of that name is there.
[[nodiscard]] std::string free_name(const std::string& path, const char* kind);

// An empty file, or a copy: only where none is, and with the owner, mode, access control list and attributes of the one
// that it stands for, taken from the file that was opened. A link is not followed, and only a file is copied.
// The new file stays open, and is the caller's to close.
[[nodiscard]] int create_like(const std::string& like, const std::string& path);
void copy_file(const std::string& from, const std::string& to);

// The same for those of a file and its companions, by the endings of their names, that are there: all of them or none.
void copy_files(const std::string& from, const std::string& to, const std::vector<const char*>& endings);

void sync_folder_of(const std::string& path);

// Gives the old file a second name, then its own name to the new one: at each moment a whole file has the name of the
// log, and the old one has at least one name. Returns the second name, which may be that of a run that was cut off.
// Throws LogReplaced when the old name leads to another file than the expected one, FileFailure when the new one does.
std::string replace_file(const std::string& path, const FileId& expected, const std::string& anew,
                         const FileId& expected_anew);

// What runs that were cut off have left in the folder.
[[nodiscard]] std::vector<std::string> leftovers_of(const std::string& path, const char* kind);

}  // namespace annalctl
