// Whether a log is sound, found out by looking alone.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/annalctl/base/log.h"

namespace annalctl {

enum class State {
  kSound,
  kRemark,      // nothing that has to be done
  kFault,       // not sound, and no damage: the sentence says what helps
  kUnfinished,  // a change has to be finished or undone first, which changes the file
  kUnknown,     // could not be looked at
  kDamaged,     // what salvaging is for
};

[[nodiscard]] const char* name_of(State state);

struct Finding {
  State state;
  std::string text;  // a sentence that says what to do
};

struct Inspection {
  std::vector<Finding> findings;
  std::int64_t entries = 0;  // of a sound log

  [[nodiscard]] bool has(State state) const;
  [[nodiscard]] bool sound() const;
};

// Opens the file for reading alone and creates nothing. Waits a few seconds for a lock; writers wait until it is done.
[[nodiscard]] Inspection inspect(const Log& log);

// How long inspecting and salvaging wait for a lock.
constexpr int kLockWaitMilliseconds = 5000;

}  // namespace annalctl
