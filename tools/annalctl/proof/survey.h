// What a chain says, without its commitments: which entries it has, which are gone, which were redacted.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <vector>

#include "tools/annalctl/proof/chain_file.h"
#include "tools/annalctl/proof/comparison.h"
#include "tools/annalctl/query/reader.h"

namespace annalctl::proof {

struct SealedEntry {
  std::int64_t id;
  std::uint64_t position;
  std::uint32_t time;
  bool erased;  // its salt
};

struct Survey {
  Notes notes;
  std::vector<SealedEntry> entries;  // in the order of their ids

  [[nodiscard]] const SealedEntry* entry(std::int64_t id) const;
};
// Throws ChainFailure for a chain that is not what its head says: nothing may be added to that.
[[nodiscard]] Survey survey_of(const ChainFile& chain);

// Ranges of ids for those of the sealed entries that are gone. Both are in rising order.
[[nodiscard]] std::vector<GoneRange> ranges_of(std::span<const SealedEntry> entries, std::span<const std::int64_t> gone,
                                               Reason reason, std::uint32_t declared);

// Whether the log has as many entries as while its limit is at work.
[[nodiscard]] bool is_full(Reader& reader, const Log& log);
// Of these ids the ones that are not in the log, up to the first that is when told to stop there.
enum class Until : unsigned char { kFirstPresent, kEnd };
[[nodiscard]] std::vector<std::int64_t> missing_among(Reader& reader, std::span<const std::int64_t> ids, Until until);
// The highest id that the log has ever given.
[[nodiscard]] std::int64_t highest_id_of(Reader& reader, const Log& log);

// How far long work has come.
using Watch = std::function<void(std::int64_t last_id, std::uint64_t entries)>;

}  // namespace annalctl::proof
