// Extends a chain by the entries that its log has gained, and signs its head.
#include "tools/annalctl/proof/seal.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/proof/aside_chains.h"
#include "tools/annalctl/proof/entry_pages.h"

namespace annalctl::proof {

namespace {

// A chain is written again when it gets this much shorter, and half at least.
constexpr std::uint64_t kWorthDropping = 4096;

Head first_head(const Log& log) {
  Head head{.sequence = 1, .log = log.name, .time = seconds_now()};
  fill_with_random(head.chain);
  return head;
}

std::string free_name_beside(const std::string& path) {
  for (int number = 1;; ++number) {
    std::string name = fmt::format("{}.{}", path, number);
    if (access(name.c_str(), F_OK) != 0) {
      return name;
    }
  }
}

ChainFile create_chain(const Log& log, const KeyRing& keys) {
  return ChainFile::create(chain_path(log.path), log.path, first_head(log), keys.key);
}

// The new chain names the last head of the old one, so that the two belong together.
ChainFile continue_in_new_chain(const Log& log, const KeyRing& keys) {
  const std::string path = chain_path(log.path);
  std::optional<Head> before;
  try {
    if (const std::optional<ChainFile> old = ChainFile::open(path, Access::kWrite)) {
      before = old->head();
    }
  } catch (const ChainFailure&) {  // It is damaged, and that is why it is set aside.
  }
  const std::string aside = free_name_beside(path);
  const bool moved = std::rename(path.c_str(), aside.c_str()) == 0;
  if (!moved && errno != ENOENT) {
    throw ChainFailure(fmt::format("cannot set {} aside: {}", path, system_message(errno)));
  }
  ChainFile chain = create_chain(log, keys);
  if (moved) {
    Record begun{.kind = Kind::kBegun, .id = 1, .time = time_key(seconds_now())};
    if (before) {
      begun.id = static_cast<std::int64_t>(before->records & static_cast<std::uint64_t>(kHighestId));
      begun.commitment = commitment_to(*before);
    }
    chain.append(begun);
  }
  return chain;
}

void require_own(const ChainFile& chain, const Log& log, const KeyRing& keys) {
  const Head& head = chain.head();
  if (head.log != log.name) {
    throw ChainFailure(fmt::format("{} is the chain of another log ({})", chain.path(), head.log));
  }
  if (!is_signed(head) || std::find(keys.trusted.begin(), keys.trusted.end(), head.key) == keys.trusted.end()) {
    throw ChainFailure(
        fmt::format("the head of {} is not signed by a key of this machine's ('annalctl verify' tells more; 'annalctl "
                    "seal --new-chain' sets it aside and begins another)",
                    chain.path()));
  }
}

// One run of sealing a log.
class Sealer {
 public:
  Sealer(const Log& log, const KeyRing& keys, ChainFile chain)
      : log_(log), keys_(keys), chain_(std::move(chain)), reader_(log), survey_(survey_of(chain_)) {}

  Sealed run(const SealOptions& options, const Watch& watch) {
    require_same_log();
    const Head before = chain_.head();
    if (options.accept_missing) {
      declare(all_missing(), Reason::kAccepted);
    } else {
      declare_expired();
    }
    add_entries(watch);
    if (chain_.appended() > 0 || before.key != keys_.key.public_key()) {
      chain_.commit(keys_.key, last_id_, seconds_now());
    }
    erase_salts();
    drop_what_is_gone();
    sealed_.head = chain_.head();
    return std::move(sealed_);
  }

  void declare_gone(std::span<const std::int64_t> ids, Reason reason) {
    std::vector<std::int64_t> gone(ids.begin(), ids.end());
    std::sort(gone.begin(), gone.end());
    std::erase_if(
        gone, [this](std::int64_t id) { return survey_.entry(id) == nullptr || survey_.notes.gone(id) != nullptr; });
    declare(gone, reason);
    if (chain_.appended() > 0) {
      chain_.commit(keys_.key, chain_.head().last_id, seconds_now());
      erase_salts_of_gone();
    }
  }
  void declare_all_gone(Reason reason) { declare_gone(all_missing(), reason); }

 private:
  // Ids that begin again would be taken for those that are sealed.
  void require_same_log() {
    last_id_ = chain_.head().last_id;
    if (const std::int64_t highest = highest_id_of(reader_, log_); highest < last_id_) {
      throw ChainFailure(
          fmt::format("{} has given ids up to {}, and {} was sealed: it was recreated or is an older copy ('annalctl "
                      "verify' tells more; 'annalctl seal --new-chain' sets the chain aside and begins another)",
                      log_.path, highest, last_id_));
    }
  }

  [[nodiscard]] std::vector<SealedEntry> not_declared_gone() const {
    std::vector<SealedEntry> entries = survey_.entries;
    std::erase_if(entries, [this](const SealedEntry& entry) { return survey_.notes.gone(entry.id) != nullptr; });
    return entries;
  }

  static std::vector<std::int64_t> ids_of(const std::vector<SealedEntry>& entries) {
    std::vector<std::int64_t> ids;
    ids.reserve(entries.size());
    for (const SealedEntry& entry : entries) {
      ids.push_back(entry.id);
    }
    return ids;
  }

  std::vector<std::int64_t> all_missing() { return missing_among(reader_, ids_of(not_declared_gone()), Until::kEnd); }

  // A full log deletes its oldest entries, by their times. When it is full the oldest may be missing; otherwise it is
  // for somebody to say why they are.
  void declare_expired() {
    std::vector<SealedEntry> oldest_first = not_declared_gone();
    const auto older = [](const SealedEntry& one, const SealedEntry& other) {
      return std::pair(one.time, one.id) < std::pair(other.time, other.id);
    };
    if (!std::is_sorted(oldest_first.begin(), oldest_first.end(), older)) {
      std::sort(oldest_first.begin(), oldest_first.end(), older);
    }
    std::vector<std::int64_t> missing = missing_among(reader_, ids_of(oldest_first), Until::kFirstPresent);
    if (missing.empty()) {
      return;
    }
    if (!is_full(reader_, log_)) {
      sealed_.remarks.push_back(
          fmt::format("the oldest {} sealed {} are gone, and the log is not full: 'annalctl verify' names them, and "
                      "'annalctl seal --accept' declares that they may be",
                      missing.size(), log_.entries));
      return;
    }
    std::sort(missing.begin(), missing.end());
    declare(missing, Reason::kLimit);
  }

  void declare(const std::vector<std::int64_t>& gone, Reason reason) {
    const auto now = time_key(seconds_now());
    for (const GoneRange& range : ranges_of(survey_.entries, gone, reason, now)) {
      chain_.append(record_of(range));
      ranges_.push_back(range);
    }
    for (const std::int64_t id : gone) {
      if (const SealedEntry* const entry = survey_.entry(id); entry != nullptr && !entry->erased) {
        unneeded_salts_.push_back(entry->position);
      }
    }
    gone_.insert(gone_.end(), gone.begin(), gone.end());
    sealed_.declared += gone.size();
  }

  void add_entries(const Watch& watch) {
    EntryPages pages(reader_, log_, last_id_);
    EntryPage page;
    std::vector<Salt> salts;
    while (pages.next(page)) {
      salts.resize(page.size());
      fill_with_random({salts.front().data(), salts.size() * sizeof(Salt)});
      for (std::size_t i = 0; i < page.size(); ++i) {
        if (page.id(i) > kHighestId) {
          sealed_.remarks.push_back(fmt::format(
              "no log gives the id {} by itself: neither that entry nor any behind it is sealed", page.id(i)));
          return;
        }
        chain_.append({.kind = Kind::kEntry,
                       .id = page.id(i),
                       .time = page.time(i),
                       .commitment = commitment_of(salts[i], page.content(i)),
                       .salt = salts[i]});
        last_id_ = page.id(i);
      }
      sealed_.entries += page.size();
      watch(last_id_, sealed_.entries);
    }
  }

  // Of entries that are gone, so that nobody can try what they were; and of redactions that were cut off between their
  // last two steps.
  void erase_salts() {
    for (const auto& [id, redaction] : survey_.notes.redactions()) {
      const SealedEntry* const entry = survey_.entry(id);
      if (entry != nullptr && !entry->erased && is_as_redacted(id, redaction.record)) {
        unneeded_salts_.push_back(entry->position);
      }
    }
    erase_salts_of_gone();
  }

  void erase_salts_of_gone() {
    if (!unneeded_salts_.empty()) {
      chain_.erase_salts(unneeded_salts_);
    }
    if (!gone_.empty()) {
      AsideChains(log_).erase_salts(gone_);
    }
  }

  bool is_as_redacted(std::int64_t id, const Record& redaction) {
    EntryPages pages(reader_, log_, id - 1);
    EntryPage page;
    return is_of_changed(redaction) || !pages.next(page) || page.id(0) != id || commits_to(redaction, page.content(0));
  }

  void drop_what_is_gone() {
    const auto is_gone = [this](const SealedEntry& entry) {
      return survey_.notes.gone(entry.id) != nullptr ||
             std::any_of(ranges_.begin(), ranges_.end(), [&entry](const GoneRange& range) {
               return entry.id >= range.from && entry.id <= range.through;
             });
    };
    const auto kept = std::find_if_not(survey_.entries.begin(), survey_.entries.end(), is_gone);
    if (kept == survey_.entries.end()) {
      return;
    }
    const Head& head = chain_.head();
    const std::uint64_t dropped = kept->position - head.first;
    if (dropped >= kWorthDropping && dropped * 2 >= head.records - head.first) {
      chain_.drop_before(kept->position, keys_.key);
    }
  }

  const Log& log_;
  const KeyRing& keys_;
  ChainFile chain_;
  Reader reader_;
  Survey survey_;
  std::vector<GoneRange> ranges_;              // that were declared now
  std::vector<std::int64_t> gone_;             // those in them
  std::vector<std::uint64_t> unneeded_salts_;  // by their positions
  std::int64_t last_id_ = 0;
  Sealed sealed_;
};

}  // namespace

std::int64_t seconds_now() {
  return static_cast<std::int64_t>(std::time(nullptr));
}

namespace {

ChainFile own_chain(const Log& log, const KeyRing& keys, std::optional<ChainFile> chain) {
  if (!chain) {
    chain = ChainFile::open(chain_path(log.path), Access::kWrite);
  }
  if (!chain) {
    throw ChainFailure(fmt::format("{} was never sealed ('annalctl seal')", log.path));
  }
  require_own(*chain, log, keys);
  return std::move(*chain);
}

}  // namespace

ChainFile open_own_chain(const Log& log, const KeyRing& keys) {
  return own_chain(log, keys, {});
}

Sealed seal(const Log& log, const KeyRing& keys, const SealOptions& options, const Watch& watch) {
  if (options.new_chain) {
    return Sealer(log, keys, continue_in_new_chain(log, keys)).run(options, watch);
  }
  std::optional<ChainFile> chain = ChainFile::open(chain_path(log.path), Access::kWrite);
  const bool first = !chain;
  if (first) {
    chain = create_chain(log, keys);
  }
  require_own(*chain, log, keys);
  Sealed sealed = Sealer(log, keys, std::move(*chain)).run(options, watch);
  if (first) {
    // Somebody may have deleted an earlier one.
    sealed.remarks.insert(
        sealed.remarks.begin(),
        fmt::format("began its chain: the {} that were there are sealed as they are now", log.entries));
  }
  return sealed;
}

void declare_gone(const Log& log, const KeyRing& keys, std::optional<ChainFile> chain,
                  std::span<const std::int64_t> ids, Reason reason) {
  Sealer(log, keys, own_chain(log, keys, std::move(chain))).declare_gone(ids, reason);
}

void declare_all_gone(const Log& log, const KeyRing& keys, std::optional<ChainFile> chain, Reason reason) {
  Sealer(log, keys, own_chain(log, keys, std::move(chain))).declare_all_gone(reason);
}

}  // namespace annalctl::proof
