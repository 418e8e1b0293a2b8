// Redacting: takes what is personal out of entries, so that no byte of it is left, and leaves a tombstone in the chain
// that the entry is verified by from then on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/proof/chain_file.h"
#include "tools/annalctl/proof/key_files.h"
#include "tools/annalctl/query/query.h"

namespace annalctl::proof {

inline constexpr char kMarker[] = "[redacted]";

struct RedactionOptions {
  std::span<const char* const> personal;  // the columns
  bool rewrite = false;                   // the whole file, however large
};

struct Redacted {
  std::int64_t entries = 0;
  std::int64_t tombstones = 0;                 // of those that had been sealed
  std::int64_t changed = 0;                    // of these, those that were not what had been sealed
  std::vector<std::string> unreadable_chains;  // that were set aside, and may tell of the entries
};

// How many of the entries have something personal.
[[nodiscard]] std::int64_t count_personal(const Log& log, const Query& query, const RedactionOptions& options);

// In short steps beside those who write. keys: null for a log without a chain. done is kept up to date, for when it
// throws ReadFailure or ChainFailure.
void redact(const Log& log, const Query& query, const RedactionOptions& options, const KeyRing* keys, Redacted& done,
            const std::function<void()>& watch);

// For whoever has handed entries on: those redacted later than a position in the chain, in the order in which they
// were; at most so many.
struct Tombstone {
  std::uint64_t position;
  std::int64_t id;
  std::int64_t time;  // seconds since 1970
};
[[nodiscard]] std::vector<Tombstone> tombstones_from(const ChainFile& chain, std::uint64_t position,
                                                     std::size_t most = std::numeric_limits<std::size_t>::max());

}  // namespace annalctl::proof
