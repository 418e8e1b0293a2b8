// Collects what a comparison finds.
#include "tools/annalctl/proof/findings.h"

#include <algorithm>
#include <array>

namespace annalctl::proof {

namespace {

struct StateName {
  State state;
  std::string_view name;
};
constexpr std::array kStates{
    StateName{State::kChanged, "changed"},
    StateName{State::kMoved, "moved"},
    StateName{State::kDeleted, "deleted"},
    StateName{State::kTruncated, "truncated"},
    StateName{State::kInserted, "inserted"},
    StateName{State::kReturned, "returned"},
    StateName{State::kUndecided, "undecided"},
    StateName{State::kRewritten, "chain-rewritten"},
    StateName{State::kCut, "chain-cut"},
    StateName{State::kUnsigned, "chain-unsigned"},
    StateName{State::kRolledBack, "rolled-back"},
    StateName{State::kReplaced, "chain-replaced"},
    StateName{State::kOfAnother, "chain-of-another-log"},
    StateName{State::kMadeAgain, "log-recreated"},
    StateName{State::kLogGone, "log-missing"},
    StateName{State::kNoChain, "chain-missing"},
    StateName{State::kExpired, "expired"},
    StateName{State::kGone, "gone"},
    StateName{State::kRedacted, "redacted"},
    StateName{State::kUnfinished, "unfinished"},
    StateName{State::kNotSealed, "not-sealed"},
    StateName{State::kNeverSealed, "never-sealed"},
    StateName{State::kContinued, "continued"},
    StateName{State::kTooOld, "anchor-too-old"},
    StateName{State::kHeadLost, "head-unreadable"},
};

}  // namespace

std::string_view name_of(State state) {
  const auto* const found =
      std::find_if(kStates.begin(), kStates.end(), [state](const StateName& one) { return one.state == state; });
  return found == kStates.end() ? "unknown" : found->name;
}

bool Report::clean() const {
  return std::all_of(findings.begin(), findings.end(), [](const Finding& one) { return is_remark(one.state); });
}

}  // namespace annalctl::proof
