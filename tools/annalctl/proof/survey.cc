// Summarizes a chain without its commitments.
#include "tools/annalctl/proof/survey.h"

#include <fmt/format.h>

#include <algorithm>

#include "tools/annalctl/maintenance/facts.h"

namespace annalctl::proof {

const SealedEntry* Survey::entry(std::int64_t id) const {
  const auto found = std::lower_bound(entries.begin(), entries.end(), id,
                                      [](const SealedEntry& one, std::int64_t sought) { return one.id < sought; });
  return found == entries.end() || found->id != id ? nullptr : &*found;
}

Survey survey_of(const ChainFile& chain) {
  Survey survey;
  Hash hash = chain.head().base;
  std::uint64_t end = chain.head().first;
  for (RecordStream records(chain); records.next(); ++end) {
    hash = link_of(hash, linked_part(records.bytes()));
    const std::optional<Record> record = read(records.bytes());
    if (record && record->kind == Kind::kEntry) {
      survey.entries.push_back({record->id, records.position(), record->time, is_erased(record->salt)});
    } else if (record) {
      survey.notes.add(records.position(), *record);
    }
  }
  if (end != chain.head().records || hash != chain.head().hash) {
    throw ChainFailure(
        fmt::format("{} is not what its head says ('annalctl verify' tells more; 'annalctl seal --new-chain' sets it "
                    "aside and begins another)",
                    chain.path()));
  }
  survey.notes.finish();
  return survey;
}

std::vector<GoneRange> ranges_of(std::span<const SealedEntry> entries, std::span<const std::int64_t> gone,
                                 Reason reason, std::uint32_t declared) {
  std::vector<GoneRange> ranges;
  bool in_range = false;
  auto next = gone.begin();
  for (const SealedEntry& entry : entries) {
    while (next != gone.end() && *next < entry.id) {
      ++next;
    }
    const bool is_gone = next != gone.end() && *next == entry.id;
    if (is_gone && in_range) {
      ranges.back().through = entry.id;
    } else if (is_gone) {
      ranges.push_back({entry.id, entry.id, declared, reason});
    }
    in_range = is_gone;
  }
  return ranges;
}

bool is_full(Reader& reader, const Log& log) {
  const std::optional<RowLimit> limit = row_limit_of(reader, log);
  if (!limit || limit->limit <= 0) {
    return false;
  }
  const std::int64_t rows = reader.count({});
  return rows > std::int64_t{limit->limit} - limit->batch && rows <= limit->limit;
}

std::vector<std::int64_t> missing_among(Reader& reader, std::span<const std::int64_t> ids, Until until) {
  constexpr std::size_t kLookedUpAtOnce = 256;
  std::vector<std::int64_t> missing;
  SqliteStatement look_up = reader.prepare(fmt::format("SELECT 1 FROM {} WHERE rowid = ?1", reader.table()));
  for (std::size_t next = 0; next < ids.size();) {
    const Reader::Turn turn(reader);
    for (const std::size_t end = std::min(next + kLookedUpAtOnce, ids.size()); next < end; ++next) {
      look_up.bind(1, ids[next]);
      const bool there = reader.next(look_up);
      look_up.reset();
      if (!there) {
        missing.push_back(ids[next]);
      } else if (until == Until::kFirstPresent) {
        return missing;
      }
    }
  }
  return missing;
}

std::int64_t highest_id_of(Reader& reader, const Log& log) {
  const Reader::Turn turn(reader);
  SqliteStatement statement =
      reader.prepare(fmt::format("SELECT max(coalesce((SELECT seq FROM main.sqlite_sequence WHERE name = '{0}'), 0), "
                                 "coalesce((SELECT max(rowid) FROM main.{0}), 0))",
                                 log.table));
  reader.next(statement);
  return statement.integer(0);
}

}  // namespace annalctl::proof
