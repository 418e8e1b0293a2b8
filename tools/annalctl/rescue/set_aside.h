// Replaces a log's file: whatever happens, nothing of the old files is ever lost.
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

// The file to which a name leads.
struct FileId {
  dev_t device = 0;
  ino_t inode = 0;  // 0: none

  bool operator==(const FileId&) const = default;
};

[[nodiscard]] FileId id_of(const std::string& path);

// Another program has replaced the log's file since it was inspected: the work has to start
// again.
class LogReplaced : public FileFailure {
 public:
  explicit LogReplaced(const std::string& path);
};

// The folder of a log, open and locked. Its own name may lead elsewhere at any moment, so the names of files are looked
// up below the open folder. The lock lets one salvage at a time work there: of two for the same log, the second would
// set aside the first one's result, with everything stored in it since.
class LogFolder {
 public:
  // Throws FileFailure if another salvage is active or the folder cannot be opened. Does not lock where folders cannot
  // be locked.
  explicit LogFolder(std::string path);
  ~LogFolder();
  LogFolder(const LogFolder&) = delete;
  LogFolder& operator=(const LogFolder&) = delete;

  [[nodiscard]] std::string path_of(const std::string& name) const;
  [[nodiscard]] FileId id_of(const std::string& name) const;

  // All of these throw FileFailure. Names are those of files in the folder.

  // Follows no link, and waits for nothing. The caller closes the descriptor.
  [[nodiscard]] int open(const std::string& name, int flags, mode_t mode = 0) const;

  // NAME.KIND-20261121-160155, followed by a number if that name is taken.
  [[nodiscard]] std::string free_name(const std::string& name, const char* kind) const;

  // Creates an empty file, or a copy, only if the name is free, with the owner, mode, access control list and
  // attributes of its model, taken from the open file. Copies only regular files. The caller closes the empty file.
  [[nodiscard]] int create_like(const std::string& model, const std::string& name) const;
  void copy(const std::string& from, const std::string& to) const;

  // The same for a file and those beside it with these endings, as far as they exist: all of them or none.
  void copy(const std::string& from, const std::string& to, const std::vector<const char*>& endings) const;

  void remove(const std::string& name) const noexcept;
  void sync() const;

  // Gives the old file a second name, then its own name to the new one: at each moment the log's name leads to a whole
  // file, and the old one has at least one name. Returns the second name, which may stem from an interrupted run.
  // Throws LogReplaced if the old name leads to another file than the expected one, FileFailure if the new name does.
  [[nodiscard]] std::string replace(const std::string& name, const FileId& expected, const std::string& new_name,
                                    const FileId& expected_new) const;

  // Files that interrupted runs have left.
  [[nodiscard]] std::vector<std::string> leftovers_of(const std::string& name, const char* kind) const;

 private:
  [[nodiscard]] bool has(const std::string& name) const;

  std::string path_;
  int number_;
};

// Locks every other program out of a log, if it uses SQLite's locks. Unlike SQLite's own lock, it survives closing
// another descriptor of the file in this process.
class LogLock {
 public:
  // Waits for the lock. Throws FileFailure if another program keeps it, or the file cannot be opened for writing, and
  // LogReplaced if the name leads to another file than the expected one by then.
  LogLock(const LogFolder& folder, const std::string& name, const FileId& expected);
  ~LogLock();
  LogLock(const LogLock&) = delete;
  LogLock& operator=(const LogLock&) = delete;

  // False if the file system has no locks.
  [[nodiscard]] bool held() const { return held_; }

 private:
  int file_;
  bool held_ = false;
};

// Whether SQLite would apply a file beside the log before reading it: a journal that rolls back an interrupted change,
// or a write-ahead log. A change in progress looks the same.
[[nodiscard]] bool change_is_pending(const std::string& path);

}  // namespace annalctl
