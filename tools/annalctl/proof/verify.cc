// Checks a log against its chain, the chain against its head, and the head against copies kept elsewhere.
#include "tools/annalctl/proof/verify.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "tools/annalctl/base/moment.h"
#include "tools/annalctl/proof/entry_pages.h"

namespace annalctl::proof {

namespace {

// A place in the chain whose link is known.
struct Checkpoint {
  std::uint64_t records;
  Hash hash;
  const Head* anchor;  // null: a head of the file's own
};

std::string time_text(std::int64_t seconds) {
  return plain_text(seconds, Zone::kLocal).value_or(fmt::format("@{}", seconds));
}

class Verifier {
 public:
  Verifier(const Log& log, const VerifyOptions& options, const ChainFile& chain)
      : log_(log), options_(options), chain_(chain), anchors_(anchors_of(log, options.anchors, &chain.head().chain)) {}

  Verified run(const Watch& watch) {
    check_head();
    check_anchors();
    go_through_chain();
    if (is_log_there()) {
      try {
        compare(watch);
      } catch (const AlteredTable& altered) {
        say(State::kChanged, altered.what());
      }
    } else {
      say(State::kLogGone, fmt::format("there is no log, and {} has {} records of one", chain_.path(),
                                       chain_.head().records - chain_.head().first));
    }
    std::vector<Finding>& all = report_.findings;
    all.insert(all.begin(), std::make_move_iterator(findings_.begin()), std::make_move_iterator(findings_.end()));
    return {chain_.head(), std::move(report_)};
  }

 private:
  void say(State state, std::string text) { findings_.push_back({state, 0, 0, std::move(text)}); }

  [[nodiscard]] std::vector<PublicKey>::const_iterator trusted_key(const Head& head) const {
    return std::find(options_.trusted.begin(), options_.trusted.end(), head.key);
  }
  [[nodiscard]] bool is_trusted(const Head& head) const {
    return is_signed(head) && trusted_key(head) != options_.trusted.end();
  }

  void check_head() {
    const Head& head = chain_.head();
    if (!is_trusted(head)) {
      say(State::kUnsigned, is_signed(head) ? "the chain's head is signed by a key that is not known"
                                            : "the chain's head has a false signature");
    }
    if (head.log != log_.name) {
      say(State::kOfAnother, fmt::format("the chain is of a log of another kind: {}", head.log));
    }
    const std::optional<Head>& earlier = chain_.earlier_head();
    if (earlier && is_trusted(*earlier) && earlier->chain == head.chain && earlier->first >= head.first) {
      checkpoints_.push_back({earlier->records, earlier->hash, nullptr});
    }
    checkpoints_.push_back({head.records, head.hash, nullptr});
    last_id_ = head.last_id;
    if (chain_.is_head_lost()) {
      say(State::kHeadLost,
          "one of the chain's two heads cannot be read: a sealing was cut off, or somebody changed it; "
          "what only that head covers counts as not sealed");
    }
  }

  // An anchor of this chain. Keys are only replaced by later ones, and what a head covers only grows.
  void check_anchor(const Head& anchor) {
    const Head& head = chain_.head();
    if (anchor.records > head.records || anchor.sequence > head.sequence) {
      say(State::kRolledBack,
          fmt::format("on {} the chain had {} records in its version {}, and now it has {} in version {}: it is an "
                      "older one",
                      time_text(anchor.time), anchor.records, anchor.sequence, head.records, head.sequence));
      return;
    }
    if (trusted_key(head) < trusted_key(anchor)) {
      say(State::kUnsigned,
          fmt::format("the chain's head is signed by a key that had been replaced by {}", time_text(anchor.time)));
    }
    last_id_ = std::max(last_id_, anchor.last_id);
    if (anchor.records < head.first) {
      say(State::kTooOld, fmt::format("what was sealed by {} is gone, and the chain does not have it any more",
                                      time_text(anchor.time)));
      if (dropped_ == nullptr || anchor.last_id > dropped_->last_id) {
        dropped_ = &anchor;
      }
    } else {
      checkpoints_.push_back({anchor.records, anchor.hash, &anchor});
    }
  }

  void check_anchors() {
    for (const Head& anchor : anchors_) {
      if (!is_trusted(anchor)) {
        say(State::kUnsigned,
            fmt::format("the head that was kept of {} is not signed by a key that is known", time_text(anchor.time)));
      } else if (anchor.chain != chain_.head().chain) {
        say(State::kReplaced,
            fmt::format("the head that was kept of {} is of another chain: this one has taken its place, or is of "
                        "another log",
                        time_text(anchor.time)));
      } else {
        check_anchor(anchor);
      }
    }
    std::stable_sort(checkpoints_.begin(), checkpoints_.end(),
                     [](const Checkpoint& one, const Checkpoint& other) { return one.records < other.records; });
  }

  void pass_checkpoints(std::uint64_t records, const Hash& hash) {
    for (; next_checkpoint_ < checkpoints_.size() && checkpoints_[next_checkpoint_].records == records;
         ++next_checkpoint_) {
      const Checkpoint& checkpoint = checkpoints_[next_checkpoint_];
      if (checkpoint.hash == hash) {
        good_until_ = records;
        continue;
      }
      const std::string where = fmt::format("between its records {} and {}", good_until_ + 1, records);
      if (checkpoint.anchor != nullptr) {
        say(State::kRewritten, fmt::format("the chain is not the one whose head was kept on {}: it differs {}",
                                           time_text(checkpoint.anchor->time), where));
      } else if (!told_rewritten_) {
        say(State::kRewritten, fmt::format("the chain is not what its head says: it was changed {}", where));
      }
      told_rewritten_ = true;
    }
  }

  void go_through_chain() {
    const Head& head = chain_.head();
    Hash hash = head.base;
    std::uint64_t end = head.first;
    good_until_ = head.first;
    pass_checkpoints(end, hash);
    for (RecordStream records(chain_); records.next();) {
      hash = link_of(hash, linked_part(records.bytes()));
      const std::optional<Record> record = read(records.bytes());
      if (record && record->kind == Kind::kBegun) {
        begun_ = *record;
      } else if (record && record->kind == Kind::kEntry) {
        check_order(*record);
      } else if (record) {
        notes_.add(records.position(), *record);
      }
      pass_checkpoints(++end, hash);
    }
    notes_.finish();
    if (end < head.records) {
      say(State::kCut, fmt::format("the chain ends after {} of {} records", end, head.records));
    }
  }

  // A chain drops records from its beginning. So if it does not have the records that an anchored head covers, it has
  // none of their entries.
  void check_order(const Record& entry) {
    last_id_ = std::max(last_id_, entry.id);
    if (dropped_ != nullptr && entry.id <= dropped_->last_id) {
      say(State::kRewritten,
          fmt::format("the chain has another record of {}, which the head that was kept of {} covers", entry.id,
                      time_text(dropped_->time)));
      dropped_ = nullptr;
    }
  }

  [[nodiscard]] bool is_log_there() const {
    struct stat status {};
    return stat(log_.path, &status) == 0 || errno != ENOENT;
  }

  // The sealed entries, with a count of the ids that came between them and were gone before they could be sealed.
  NextEntry entries() {
    return [this, records = RecordStream(chain_), before = std::int64_t{0}](Record& entry) mutable {
      while (records.next()) {
        const std::optional<Record> record = read(records.bytes());
        // Ids rise in what a sealing has written.
        if (!record || record->kind != Kind::kEntry || record->id <= before) {
          continue;
        }
        if (before > 0) {
          never_sealed_ += record->id - before - 1;
        }
        before = record->id;
        entry = *record;
        return true;
      }
      return false;
    };
  }

  void compare(const Watch& watch) {
    Reader reader(log_);
    Comparison comparison(notes_, entries(), last_id_);
    EntryPages pages(reader, log_);
    EntryPage page;
    std::uint64_t done = 0;
    while (pages.next(page)) {
      for (std::size_t i = 0; i < page.size(); ++i) {
        comparison.add(page.id(i), page.content(i));
      }
      done += page.size();
      watch(page.id(page.size() - 1), done);
    }
    report_ = comparison.finish(is_full(reader, log_) ? [this, &reader] { return oldest_now(reader); }
                                                      : Comparison::OldestNow());
    if (report_.sealed == 0 && highest_id_of(reader, log_) < chain_.head().last_id) {
      report_.findings.clear();
      say(State::kMadeAgain, fmt::format("the log has none of its sealed entries and begins again: {} was sealed last",
                                         chain_.head().last_id));
    }
    add_remarks();
  }

  std::optional<Comparison::Age> oldest_now(Reader& reader) const {
    std::vector<Comparison::Age> oldest_first;
    for (RecordStream records(chain_); records.next();) {
      const std::optional<Record> record = read(records.bytes());
      if (record && record->kind == Kind::kEntry && notes_.gone(record->id) == nullptr) {
        oldest_first.emplace_back(record->time, record->id);
      }
    }
    std::sort(oldest_first.begin(), oldest_first.end());
    std::vector<std::int64_t> ids(oldest_first.size());
    std::transform(oldest_first.begin(), oldest_first.end(), ids.begin(),
                   [](const Comparison::Age& one) { return one.second; });
    const std::size_t missing = missing_among(reader, ids, Until::kFirstPresent).size();
    return missing == ids.size() ? std::nullopt : std::optional(oldest_first[missing]);
  }

  void add_remarks() {
    for (const GoneRange& range : notes_.ranges()) {
      report_.findings.push_back(
          {State::kGone, range.from, range.through,
           fmt::format("deleted ({}), as was declared on {}", name_of(range.reason), time_text(range.declared))});
    }
    if (never_sealed_ > 0) {
      report_.findings.push_back(
          {State::kNeverSealed, 0, 0, fmt::format("{} were deleted before they were sealed", never_sealed_)});
    }
    if (begun_) {
      report_.findings.push_back(
          {State::kContinued, 0, 0,
           begun_->commitment == Commitment{}
               ? fmt::format("the chain was begun on {} in place of one that could not be read, which was "
                             "set aside",
                             time_text(begun_->time))
               : fmt::format("the chain was begun on {} in place of one of {} records, which was set aside",
                             time_text(begun_->time), begun_->id)});
    }
  }

  const Log& log_;
  const VerifyOptions& options_;
  const ChainFile& chain_;
  std::vector<Head> anchors_;
  std::vector<Checkpoint> checkpoints_;
  std::size_t next_checkpoint_ = 0;
  std::uint64_t good_until_ = 0;
  std::int64_t last_id_ = 0;       // that was sealed, by the chain or an anchor
  const Head* dropped_ = nullptr;  // the last anchor whose records the chain does not have any more
  bool told_rewritten_ = false;
  Notes notes_;
  std::optional<Record> begun_;
  std::int64_t never_sealed_ = 0;
  std::vector<Finding> findings_;  // about the chain
  Report report_;
};

}  // namespace

std::vector<Head> anchors_of(const Log& log, const std::vector<Head>& anchors, const ChainId* chain) {
  std::vector<Head> of_kind;
  std::copy_if(anchors.begin(), anchors.end(), std::back_inserter(of_kind),
               [&log](const Head& anchor) { return anchor.log == log.name; });
  std::vector<Head> own;
  std::copy_if(of_kind.begin(), of_kind.end(), std::back_inserter(own), [&log, chain](const Head& anchor) {
    return anchor.file.empty() || anchor.file == log.path || (chain != nullptr && anchor.chain == *chain);
  });
  return own.empty() && chain != nullptr ? of_kind : own;
}

std::optional<Verified> verify(const Log& log, const VerifyOptions& options, const Watch& watch) {
  try {
    const std::optional<ChainFile> chain = ChainFile::open(chain_path(log.path), Access::kRead);
    if (!chain) {
      const std::vector<Head> anchors = anchors_of(log, options.anchors, nullptr);
      if (anchors.empty()) {
        return {};
      }
      Verified verified;
      verified.report.findings.push_back(
          {State::kNoChain, 0, 0,
           fmt::format("there is no chain, and a head of one was kept of {}", time_text(anchors.back().time))});
      return verified;
    }
    return Verifier(log, options, *chain).run(watch);
  } catch (const ChainDamage& damage) {
    Verified verified;
    verified.report.findings.push_back({State::kCut, 0, 0, damage.what()});
    return verified;
  }
}

}  // namespace annalctl::proof
