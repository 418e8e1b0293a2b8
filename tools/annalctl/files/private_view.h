// A log's file for SQLite to read, and to write, without a trace: all that it writes stays in memory.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tools/annalctl/files/work_deadline.h"

namespace annalctl {

// An open file that is no folder, pipe, socket or device. Opening it waits for nobody.
class RegularFile {
 public:
  RegularFile() = default;
  // links: whether a link is followed. It is not for what SQLite puts beside a log.
  enum class Links { kFollowed, kRefused };
  RegularFile(const std::string& path, Links links);
  ~RegularFile();
  RegularFile(RegularFile&& other) noexcept;
  RegularFile& operator=(RegularFile&& other) noexcept;
  RegularFile(const RegularFile&) = delete;
  RegularFile& operator=(const RegularFile&) = delete;

  [[nodiscard]] bool is_open() const { return descriptor_ >= 0; }
  [[nodiscard]] int descriptor() const { return descriptor_; }
  [[nodiscard]] int error() const { return error_; }  // why it is not open
  [[nodiscard]] std::int64_t size() const;
  [[nodiscard]] std::int64_t occupied() const;  // on the disk: less than its size when it has holes

 private:
  int descriptor_ = -1;
  int error_ = 0;
};

// What stands at a path, without following a link.
enum class Neighbour { kNone, kFile, kOther };
[[nodiscard]] Neighbour neighbour_at(const std::string& path);

// The lock of one who reads a log, as SQLite's own readers take it, on the descriptor alone: closing another one of the
// same file leaves it.
class ReaderLock {
 public:
  enum class Outcome { kHeld, kBusy, kImpossible };
  // Waits until then.
  static Outcome take(const RegularFile& log, std::chrono::steady_clock::time_point until);
  // Whether a writer is at work: what stands in the journal is its own then.
  static bool has_writer(const RegularFile& log);
  // Keeps a log in write-ahead mode, and what stands in its write-ahead log, as they are, by the file that its users
  // share. The file is not mapped: whoever cuts it would end this process.
  static Outcome take_write_ahead(const RegularFile& shared, std::chrono::steady_clock::time_point until);
};

// A descriptor's content with changes in memory. Without a descriptor it is all in memory.
class ShadowFile {
 public:
  explicit ShadowFile(int descriptor = -1, std::int64_t size = 0)
      : descriptor_(descriptor), size_(size), readable_(size) {}

  [[nodiscard]] int read(void* to, int length, std::int64_t offset) const;
  void write(const void* from, int length, std::int64_t offset);
  void truncate(std::int64_t size);
  [[nodiscard]] std::int64_t size() const { return size_; }
  [[nodiscard]] std::size_t changed() const { return blocks_.size() * kBlock; }  // bytes

 private:
  static constexpr std::int64_t kBlock = 4096;
  using Block = std::vector<unsigned char>;

  [[nodiscard]] bool load(std::int64_t number, unsigned char* block) const;

  int descriptor_;
  std::int64_t size_;
  std::int64_t readable_;  // so much of the descriptor's content has not been cut off
  std::map<std::int64_t, Block> blocks_;
};

// The files of one log for SQLite, under a name of its own while this lives. One at a time.
class PrivateView {
 public:
  // The files must stay open, and locked, while this lives. write_ahead: not open for a log without one.
  // By the deadline whatever SQLite does with the files comes to an end.
  PrivateView(const RegularFile& log, const RegularFile& write_ahead, const WorkDeadline& deadline);
  ~PrivateView();
  PrivateView(const PrivateView&) = delete;
  PrivateView& operator=(const PrivateView&) = delete;

  // To open it by, with SQLITE_OPEN_URI.
  [[nodiscard]] static const char* name();
  [[nodiscard]] bool ready() const { return ready_; }
  [[nodiscard]] bool late() const { return deadline_.passed(); }
  // Whether more was written than memory may be spent on.
  [[nodiscard]] bool full() const;

 private:
  struct Handle;
  struct Methods;

  std::shared_ptr<ShadowFile> file_of(const char* name);

  sqlite3_vfs system_{};
  bool ready_ = false;
  WorkDeadline deadline_;
  std::map<std::string, std::shared_ptr<ShadowFile>> files_;
};

}  // namespace annalctl
