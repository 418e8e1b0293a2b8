// The files of a log that is replaced: nothing that was in one may be gone at any moment, whatever happens.
#pragma once

#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace annalctl {

class FileFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Keeps every other program out of a log, as long as it asks SQLite for the lock. Unlike SQLite's own lock it is not
// given up when this process closes another descriptor of the file.
class LogLock {
 public:
  // Waits for those that have it. Throws FileFailure when they keep it, or the file cannot be opened for writing.
  explicit LogLock(const std::string& path);
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

// An empty file, or a copy: only where none is, and with the owner and the mode of the one that it stands for.
void make_like(const std::string& like, const std::string& path);
void copy_file(const std::string& from, const std::string& to);

void sync_file(const std::string& path);
void sync_folder_of(const std::string& path);

// Gives the old file a second name, then its own name to the new one: at each moment a whole file has the name of the
// log, and the old one has at least one name. Returns the second name, which may be that of a run that was cut off.
std::string replace_file(const std::string& path, const std::string& anew);

// What runs that were cut off have left in the folder.
[[nodiscard]] std::vector<std::string> leftovers_of(const std::string& path, const char* kind);

}  // namespace annalctl
