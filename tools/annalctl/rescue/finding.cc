// The names of what an inspection finds, and its verdict.
#include "tools/annalctl/rescue/finding.h"

#include <algorithm>

namespace annalctl {

const char* name_of(State state) {
  switch (state) {
    case State::kSound:
      return "sound";
    case State::kRemark:
      return "remark";
    case State::kFault:
      return "fault";
    case State::kUnfinished:
      return "unfinished";
    case State::kUnknown:
      return "unknown";
    case State::kDamaged:
      break;
  }
  return "damaged";
}

bool Inspection::has(State state) const {
  return std::any_of(findings.begin(), findings.end(),
                     [state](const Finding& finding) { return finding.state == state; });
}

bool Inspection::sound() const {
  return std::all_of(findings.begin(), findings.end(),
                     [](const Finding& finding) { return finding.state == State::kRemark; });
}

}  // namespace annalctl
