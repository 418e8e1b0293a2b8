// When sealed entries happened, as their chain knows it: all that can be said of one that was redacted and is gone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "tools/annalctl/proof/redaction.h"

namespace annalctl::proof {
class ChainFile;
}  // namespace annalctl::proof

namespace exporter {

// A chain has no index, so a question costs one look at all of its records. One look serves many tombstones that
// follow each other, as when a log is redacted as a whole.
class EntryTimes {
 public:
  // Has to be called before questions about these.
  void prepare_for(std::span<const annalctl::proof::Tombstone> tombstones, const annalctl::proof::ChainFile& chain);
  // Seconds since 1970; 0 if the chain has dropped the entry's record.
  [[nodiscard]] std::uint32_t of(std::int64_t id) const;

  void forget() { *this = {}; }

 private:
  std::string chain_;
  std::uint64_t from_ = 0;                                     // the tombstones from this position of the chain
  std::uint64_t until_ = 0;                                    // before this one
  std::vector<std::pair<std::int64_t, std::uint32_t>> times_;  // in the order of the ids
};

}  // namespace exporter
