// What an inspection of a log finds.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace annalctl {

enum class State {
  kSound,
  kRemark,      // nothing needs to be done
  kFault,       // not sound, but not damaged: the sentence says what helps
  kUnfinished,  // a change must be completed or rolled back first, which changes the file
  kUnknown,     // could not be inspected
  kDamaged,     // for salvage
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

}  // namespace annalctl
