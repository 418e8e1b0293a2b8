// Lets SQLite read and write a log's file without leaving a trace: everything it writes stays in memory.
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

// An open regular file: not a folder, pipe, socket or device. Opening it never waits.
class RegularFile {
 public:
  RegularFile() = default;
  // links: whether to follow a link. Never for the files that SQLite puts beside a log.
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
  [[nodiscard]] std::int64_t occupied() const;  // on the disk: less than its size if it has holes

 private:
  int descriptor_ = -1;
  int error_ = 0;
};

// What is at a path, without following a link.
enum class Neighbour { kNone, kFile, kOther };
[[nodiscard]] Neighbour neighbour_at(const std::string& path);

// A reader's lock as SQLite's own readers take it, but owned by the descriptor: closing another descriptor of the file
// keeps it.
class ReaderLock {
 public:
  enum class Outcome { kHeld, kBusy, kImpossible };
  // Waits until then.
  static Outcome take(const RegularFile& log, std::chrono::steady_clock::time_point until);
  // Whether a writer is active: then the journal is its own.
  static bool has_writer(const RegularFile& log);
  // Keeps a log in write-ahead mode and its write-ahead log unchanged, by a lock on the file that its users share. The
  // file is not mapped: truncating it would kill this process.
  static Outcome take_write_ahead(const RegularFile& shared, std::chrono::steady_clock::time_point until);
};

// A descriptor's content, with changes in memory. Without a descriptor, all of it is in memory.
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
  std::int64_t readable_;  // the part of the descriptor's content that is not truncated
  std::map<std::int64_t, Block> blocks_;
};

// The files of one log, for SQLite, under a name of their own while this exists. One at a time.
class PrivateView {
 public:
  // The files must stay open and locked while this exists. write_ahead: not open for a log without one.
  // The deadline ends whatever SQLite does with the files.
  PrivateView(const RegularFile& log, const RegularFile& write_ahead, const WorkDeadline& deadline);
  ~PrivateView();
  PrivateView(const PrivateView&) = delete;
  PrivateView& operator=(const PrivateView&) = delete;

  // For opening it with SQLITE_OPEN_URI.
  [[nodiscard]] static const char* name();
  [[nodiscard]] bool ready() const { return ready_; }
  [[nodiscard]] bool late() const { return deadline_.passed(); }
  // Whether SQLite wrote more than memory may hold.
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
