// Which entries a command has deleted, for whoever keeps account of a log.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "tools/annalctl/base/log.h"

namespace annalctl {

struct DeletionListener {
  bool (*wants)(const Log& log);
  // Called before the first and after the last is deleted, whether or not they are told.
  void (*begun)(const Log& log);
  void (*ended)();
  // Called when they are gone, and no connection is open. verb: the command's.
  void (*deleted)(const Log& log, const char* verb, std::span<const std::int64_t> ids);
  // All entries were deleted.
  void (*emptied)(const Log& log, const char* verb);
};

void tell_of_deletions(const DeletionListener& listener);

// Notes what is deleted on every connection that is opened while it lives. One at a time.
class NotedDeletions {
 public:
  NotedDeletions(const Log& log, const char* verb);
  ~NotedDeletions();
  NotedDeletions(const NotedDeletions&) = delete;
  NotedDeletions& operator=(const NotedDeletions&) = delete;

  // Once they are done. all: the command has deleted all entries, which SQLite does not tell one by one.
  enum class Which { kNoted, kAll };
  void tell(Which which = Which::kNoted);

 private:
  struct Hooks;

  const Log& log_;
  const char* verb_;
  bool wanted_;
  std::vector<std::int64_t> ids_;
};

}  // namespace annalctl
