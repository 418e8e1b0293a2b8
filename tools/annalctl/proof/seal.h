// Sealing: commits to the entries that a log has gained, and signs how far the chain goes.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/proof/chain_file.h"
#include "tools/annalctl/proof/key_files.h"
#include "tools/annalctl/proof/survey.h"

namespace annalctl::proof {

struct SealOptions {
  bool new_chain = false;       // sets one aside that is there
  bool accept_missing = false;  // declares what is missing, whatever the reason
};

struct Sealed {
  Head head;
  std::uint64_t entries = 0;   // that were sealed
  std::uint64_t declared = 0;  // that were declared gone
  std::vector<std::string> remarks;
};

// Reads the log in short turns, and hashes while nothing is locked. Throws ReadFailure and ChainFailure.
[[nodiscard]] Sealed seal(const Log& log, const KeyRing& keys, const SealOptions& options, const Watch& watch);

// For whoever has deleted entries as he may: declares those of them gone that were sealed, or all that are missing.
// chain: the log's, if the caller has it locked already.
void declare_gone(const Log& log, const KeyRing& keys, std::optional<ChainFile> chain,
                  std::span<const std::int64_t> ids, Reason reason);
void declare_all_gone(const Log& log, const KeyRing& keys, std::optional<ChainFile> chain, Reason reason);

// Opens a log's chain for adding to it. Throws ChainFailure when there is none, or one that is signed by somebody else.
[[nodiscard]] ChainFile open_own_chain(const Log& log, const KeyRing& keys);

[[nodiscard]] std::int64_t seconds_now();

}  // namespace annalctl::proof
