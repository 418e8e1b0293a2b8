// What a comparison of a log with its chain has found.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace annalctl::proof {

enum class State {
  // Somebody has interfered, or may have.
  kChanged,     // an entry is not as it was sealed
  kMoved,       // it has another one's content, or its content another id
  kDeleted,     // entries are gone, and nothing says why
  kTruncated,   // the newest ones are
  kInserted,    // entries stand among sealed ones and were never sealed
  kReturned,    // entries are there that were declared gone
  kUndecided,   // the oldest ones are gone, as by a limit or by somebody
  kRewritten,   // the chain is not what its head, or an anchored head, says
  kCut,         // the chain ends before its head says
  kUnsigned,    // its head is not signed by a key that is trusted
  kRolledBack,  // the chain, and the log with it, is older than an anchored head
  kReplaced,    // it is another chain than that of an anchored head
  kOfAnother,   // it is the chain of another log
  kMadeAgain,   // the log begins again
  kLogGone,     // there is a chain, and no log
  kNoChain,     // there is none, and a head of one was kept
  // What one should know.
  kExpired,      // the oldest entries are gone, as the log's limit wants it; no sealing has declared it yet
  kGone,         // entries are gone, as was declared
  kRedacted,     // entries are without what was personal, as was declared
  kUnfinished,   // a redaction was cut off, or an erased salt is still there
  kNotSealed,    // entries are newer than the last sealing
  kNeverSealed,  // ids were given whose entries were gone before a sealing
  kContinued,    // the chain continues one that was set aside
  kTooOld,       // an anchored head is older than what the chain still has
  kHeadLost,     // one of the chain's two heads cannot be read: it was not written as a whole, or was changed
};

[[nodiscard]] std::string_view name_of(State state);
[[nodiscard]] constexpr bool is_remark(State state) {
  return state >= State::kExpired;
}

struct Finding {
  State state;
  std::int64_t from = 0;  // of entries: their ids; 0: it is about no entry
  std::int64_t through = 0;
  std::string text;
};

struct Report {
  std::vector<Finding> findings;
  std::uint64_t sealed = 0;    // entries in the chain that are neither gone nor missing
  std::uint64_t unsealed = 0;  // entries that came later
  std::uint64_t redacted = 0;
  std::uint64_t gone = 0;  // as was declared

  [[nodiscard]] bool clean() const;
};

}  // namespace annalctl::proof
