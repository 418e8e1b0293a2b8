// Lets programs that add entries pass, between the turns in which a log is locked for reading.
#pragma once

#include <chrono>
#include <string>

#include "tools/web/open_log.h"

namespace annal_web {

// A writer that meets a reader sleeps, and each one behind it sleeps longer: SQLite's pauses grow to a tenth of a
// second, and no queue keeps their order. So while entries are being added a reader leaves the log alone most of the
// time.
class WritersFirst {
 public:
  explicit WritersFirst(const OpenLog& log) : journal_(std::string(log.part->log->path) + "-journal") {}

  void before_turn();
  void turn_lasted(std::chrono::steady_clock::duration lasted) { lasted_ = lasted; }

 private:
  std::string journal_;
  std::chrono::steady_clock::duration lasted_{};
  std::chrono::steady_clock::time_point busy_until_{};
};

}  // namespace annal_web
