// The chains of a log that were set aside (LOG.chain.1 and so on): what they could tell of an entry has to go, too.
#pragma once

#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/proof/chain_file.h"

namespace annalctl::proof {

class AsideChains {
 public:
  // Locks them. Throws ChainFailure.
  explicit AsideChains(const Log& log);

  // Of the entries with these ids.
  void erase_salts(std::span<const std::int64_t> ids) const;

  // Those without a head, of which nothing can be erased.
  [[nodiscard]] const std::vector<std::string>& damaged() const { return damaged_; }

 private:
  struct Aside {
    ChainFile chain;
    std::multimap<std::int64_t, std::uint64_t> positions;  // of records with a salt, by the ids of their entries
  };
  std::vector<Aside> asides_;
  std::vector<std::string> damaged_;
};

}  // namespace annalctl::proof
