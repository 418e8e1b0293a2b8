// Limits the cost of inspecting a file, whoever has made it.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "tools/annalctl/files/work_deadline.h"

namespace annalctl {

// Of all SQLite's memory. A sound log of any size takes a small part of it.
constexpr std::int64_t kMostMemory = std::int64_t{192} << 20U;

// Enough for a log of that size on a slow disk.
[[nodiscard]] std::chrono::seconds time_for(std::int64_t size);

// Limits SQLite's memory in this process while it exists.
class MemoryBound {
 public:
  MemoryBound() : before_(sqlite3_hard_heap_limit64(kMostMemory)) {}
  ~MemoryBound() { sqlite3_hard_heap_limit64(before_); }
  MemoryBound(const MemoryBound&) = delete;
  MemoryBound& operator=(const MemoryBound&) = delete;

 private:
  std::int64_t before_;
};

// Ends a connection's work at a deadline, even where SQLite calls no progress handler. Does not trust the file's
// schema. It must not outlive the connection.
class ConnectionBounds {
 public:
  ConnectionBounds(sqlite3* connection, const WorkDeadline& deadline);
  ~ConnectionBounds();
  ConnectionBounds(const ConnectionBounds&) = delete;
  ConnectionBounds& operator=(const ConnectionBounds&) = delete;

 private:
  sqlite3* connection_;
  WorkDeadline deadline_;
  std::mutex mutex_;
  std::condition_variable ended_;
  bool over_ = false;
  std::thread watch_;
};

}  // namespace annalctl
