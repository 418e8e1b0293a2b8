// Sealing the logs from time to time before they are read, for an exporter that may write their chains.
#pragma once

#include <chrono>
#include <map>
#include <mutex>
#include <string>

#include "tools/annalctl/proof/key_files.h"
#include "tools/export/source_log.h"

namespace exporter {

class Sealing {
 public:
  Sealing(std::chrono::seconds every, annalctl::proof::KeyRing keys) : every_(every), keys_(std::move(keys)) {}

  // Seals the log if that is due and it may have changed since the last time. What fails is reported, and is no reason
  // not to send the entries. Called by any thread.
  void seal(const SourceLog& log, bool changed);

 private:
  using Clock = std::chrono::steady_clock;
  struct Course {
    bool changed = true;
    Clock::time_point due{};
    std::string said{};
  };

  std::chrono::seconds every_;
  annalctl::proof::KeyRing keys_;
  std::mutex mutex_;
  std::map<std::string, Course> courses_;  // by the logs' paths
};

}  // namespace exporter
