// Looks many tombstones' entries up in one pass over the chain.
#include "tools/export/entry_times.h"

#include <algorithm>
#include <optional>

#include "tools/annalctl/proof/chain_file.h"

namespace exporter {

namespace {

using annalctl::proof::ChainFile;
using annalctl::proof::Tombstone;

// 256 KiB.
constexpr std::size_t kAtOnce = 16384;

}  // namespace

void EntryTimes::prepare_for(std::span<const Tombstone> tombstones, const ChainFile& chain) {
  if (tombstones.empty()) {
    return;
  }
  const std::string id = annalctl::proof::hex_of(chain.head().chain);
  if (id == chain_ && tombstones.front().position >= from_ && tombstones.back().position < until_) {
    return;
  }
  const std::vector<Tombstone> all = annalctl::proof::tombstones_from(chain, tombstones.front().position, kAtOnce);
  chain_ = id;
  from_ = tombstones.front().position;
  until_ = all.empty() ? from_ : all.back().position + 1;
  times_.clear();
  times_.reserve(all.size());
  for (const Tombstone& one : all) {
    times_.emplace_back(one.id, 0);
  }
  std::sort(times_.begin(), times_.end());
  times_.erase(std::unique(times_.begin(), times_.end()), times_.end());
  // Both are in the order of their ids.
  auto next = times_.begin();
  for (annalctl::proof::RecordStream records(chain); next != times_.end() && records.next();) {
    const std::optional<annalctl::proof::Record> record = annalctl::proof::read(records.bytes());
    if (record && record->kind == annalctl::proof::Kind::kEntry) {
      while (next != times_.end() && next->first < record->id) {
        ++next;
      }
      if (next != times_.end() && next->first == record->id) {
        next->second = record->time;
      }
    }
  }
}

std::uint32_t EntryTimes::of(std::int64_t id) const {
  const auto found = std::lower_bound(times_.begin(), times_.end(), std::pair(id, std::uint32_t{0}));
  return found != times_.end() && found->first == id ? found->second : 0;
}

}  // namespace exporter
