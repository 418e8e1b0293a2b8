// Compares a log's entries with the commitments of its chain, entry by entry.
#include "tools/annalctl/proof/comparison.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace annalctl::proof {

namespace {

// Each stray content is tried on each open commitment, so both are bounded: it takes two seconds at most.
constexpr std::size_t kMostStrays = 1024;
constexpr std::size_t kMostOpen = 4096;
// What is told one by one of what has no end otherwise.
constexpr std::size_t kMostTold = 100'000;
// Of fewer entries each could be changed.
constexpr std::uint64_t kEnoughForAnother = 3;

}  // namespace

// --- notes ---

void Notes::add(std::uint64_t position, const Record& record) {
  if (record.kind == Kind::kRedaction) {
    redactions_.insert_or_assign(record.id, Redaction{position, record});
  } else if (record.kind == Kind::kGone) {
    declared_.push_back(range_of(record));
  }
}

void Notes::finish() {
  std::vector<GoneRange> all = declared_;
  std::stable_sort(all.begin(), all.end(),
                   [](const GoneRange& one, const GoneRange& other) { return one.from < other.from; });
  for (const GoneRange& range : all) {
    if (!sorted_.empty() && range.from <= sorted_.back().through) {
      sorted_.back().through = std::max(sorted_.back().through, range.through);
    } else {
      sorted_.push_back(range);
    }
  }
}

const GoneRange* Notes::gone(std::int64_t id) const {
  auto after = std::upper_bound(sorted_.begin(), sorted_.end(), id,
                                [](std::int64_t one, const GoneRange& range) { return one < range.from; });
  if (after == sorted_.begin()) {
    return nullptr;
  }
  --after;
  return id <= after->through ? &*after : nullptr;
}

const Notes::Redaction* Notes::redaction(std::int64_t id) const {
  const auto found = redactions_.find(id);
  return found == redactions_.end() ? nullptr : &found->second;
}

// --- going through both ---

Comparison::Comparison(const Notes& notes, NextEntry next_entry, std::int64_t last_id)
    : notes_(notes), next_entry_(std::move(next_entry)), last_id_(last_id) {
  advance();
}

void Comparison::advance() {
  Record next;
  entry_ = next_entry_(next) ? std::optional(next) : std::nullopt;
}

void Comparison::pass_over(const Record& entry) {
  if (notes_.gone(entry.id) != nullptr) {
    ++gone_;
    return;
  }
  missing_.push_back({entry.id, entry.time, !after_missing_});
  after_missing_ = true;
  if (open_.size() < kMostOpen) {
    open_.push_back(entry);
  }
}

void Comparison::add(std::int64_t id, std::string_view content) {
  while (entry_ && entry_->id < id) {
    pass_over(*entry_);
    advance();
  }
  if (entry_ && entry_->id == id) {
    after_missing_ = false;
    last_present_ = id;
    const Age age(entry_->time, id);
    oldest_present_ = oldest_present_ ? std::min(*oldest_present_, age) : age;
    compare(*entry_, content);
    advance();
  } else if (id <= last_id_ || id > kHighestId) {
    add_stray(id, content, false);
  } else {
    first_unsealed_ = unsealed_ == 0 ? id : first_unsealed_;
    last_unsealed_ = id;
    ++unsealed_;
  }
}

void Comparison::add_stray(std::int64_t id, std::string_view content, bool was_sealed) {
  if (strays_.size() < kMostTold) {
    // What will not be looked for elsewhere need not be kept.
    strays_.push_back({id, std::string(strays_.size() < kMostStrays ? content : std::string_view()), was_sealed});
  } else {
    ++more_changed_;
  }
}

void Comparison::compare(const Record& entry, std::string_view content) {
  if (notes_.gone(entry.id) != nullptr) {
    say(State::kReturned, entry.id, entry.id, "it was declared gone, and is there again");
    return;
  }
  if (const Notes::Redaction* const redaction = notes_.redaction(entry.id)) {
    if (is_of_changed(redaction->record)) {
      say(State::kChanged, entry.id, entry.id, "it was not what was sealed when it was redacted");
    } else if (!is_redacted(entry, content)) {
      add_stray(entry.id, content, true);
    }
    return;
  }
  if (commits_to(entry, content)) {
    ++matched_;
    return;
  }
  add_stray(entry.id, content, true);
  if (open_.size() < kMostOpen) {
    open_.push_back(entry);
  }
}

bool Comparison::is_redacted(const Record& entry, std::string_view content) {
  if (commits_to(notes_.redaction(entry.id)->record, content)) {
    ++matched_;
    ++redacted_;
    if (!is_erased(entry.salt)) {
      say(State::kUnfinished, entry.id, entry.id,
          "it was redacted, but the chain still has the salt of what it was ('annalctl seal' erases it)");
    }
    return true;
  }
  if (commits_to(entry, content)) {
    ++matched_;
    say(State::kUnfinished, entry.id, entry.id, "its redaction was interrupted (redact it again)");
    return true;
  }
  return false;
}

// --- conclusions ---

void Comparison::say(State state, std::int64_t from, std::int64_t through, std::string text) {
  // What an older copy of a log brings back comes in long runs.
  const bool runs = state == State::kReturned || state == State::kUnfinished;
  if (runs && !report_.findings.empty()) {
    Finding& last = report_.findings.back();
    if (last.state == state && last.through + 1 == from && last.text == text) {
      last.through = through;
      return;
    }
  }
  report_.findings.push_back({state, from, through, std::move(text)});
}

std::optional<std::int64_t> Comparison::origin_of(const Stray& stray) const {
  if (stray.content.empty()) {
    return {};
  }
  const auto found = std::find_if(open_.begin(), open_.end(), [&stray](const Record& entry) {
    return entry.id != stray.id && commits_to(entry, stray.content);
  });
  return found == open_.end() ? std::nullopt : std::optional(found->id);
}

void Comparison::report_strays() {
  std::size_t tried = 0;
  for (const Stray& stray : strays_) {
    const std::optional<std::int64_t> origin = tried++ < kMostStrays ? origin_of(stray) : std::nullopt;
    if (origin) {
      found_elsewhere_.insert(*origin);
      say(State::kMoved, stray.id, stray.id, fmt::format("it is what was sealed as {}", *origin));
    } else if (stray.was_sealed) {
      say(State::kChanged, stray.id, stray.id, "it is not what was sealed");
    } else {
      say(State::kInserted, stray.id, stray.id,
          stray.id > kHighestId || stray.id <= 0 ? fmt::format("no log gives the id {} by itself", stray.id)
                                                 : "it was never sealed, although entries with higher ids were");
    }
  }
  if (more_changed_ > 0) {
    say(State::kChanged, 0, 0, fmt::format("{} more entries were changed, or inserted", more_changed_));
  }
  const auto sealed_strays = static_cast<std::uint64_t>(
      std::count_if(strays_.begin(), strays_.end(), [](const Stray& stray) { return stray.was_sealed; }));
  if (matched_ == 0 && sealed_strays >= kEnoughForAnother && found_elsewhere_.empty()) {
    report_.findings.clear();
    say(State::kOfAnother, 0, 0,
        fmt::format("none of {} sealed entries is in the log: it is the chain of another one, or each was changed",
                    sealed_strays + more_changed_));
  }
}

void Comparison::report_run(State state, std::int64_t from, std::int64_t through) {
  const char* text = "gone, and no deletion of that was declared";
  if (state == State::kTruncated) {
    text = "gone from the end of what was sealed";
  } else if (state == State::kUndecided) {
    text =
        "gone, the oldest of all, although the log is not full: trimmed by a program, or deleted by somebody "
        "('annalctl seal --accept' declares that they may be gone)";
  } else if (state == State::kExpired) {
    text = "gone, the oldest of all: the full log has deleted them, and the next sealing declares it";
  }
  say(state, from, through, text);
}

bool Comparison::is_among_oldest(const Missing& one) const {
  return !oldest_present_ || Age(one.time, one.id) < *oldest_present_;
}

// While a full log is read others fill it, and it loses entries that were read as well as some that were still to come.
void Comparison::look_again(const OldestNow& oldest_now) {
  if (oldest_now &&
      !std::all_of(missing_.begin(), missing_.end(), [this](const Missing& one) { return is_among_oldest(one); })) {
    oldest_present_ = oldest_now();
  }
}

void Comparison::report_missing(bool is_full) {
  struct Run {
    State state;
    std::int64_t from;
    std::int64_t through;
  };
  std::vector<Run> runs;
  for (const Missing& one : missing_) {
    if (found_elsewhere_.contains(one.id)) {
      continue;  // it is told where it is now
    }
    State state = State::kDeleted;
    if (is_among_oldest(one)) {
      state = is_full ? State::kExpired : State::kUndecided;
    } else if (one.id > last_present_ && unsealed_ == 0) {
      state = State::kTruncated;
    }
    if (runs.empty() || one.begins_run || runs.back().state != state) {
      runs.push_back({state, one.id, one.id});
    } else {
      runs.back().through = one.id;
    }
  }
  for (const Run& run : runs) {
    report_run(run.state, run.from, run.through);
  }
}

Report Comparison::finish(const OldestNow& oldest_now) {
  while (entry_) {
    pass_over(*entry_);
    advance();
  }
  report_strays();
  look_again(oldest_now);
  report_missing(oldest_now != nullptr);
  if (redacted_ > 0) {
    say(State::kRedacted, 0, 0, fmt::format("{} in all, as was declared", redacted_));
  }
  if (unsealed_ > 0) {
    say(State::kNotSealed, first_unsealed_, last_unsealed_, fmt::format("{} not sealed yet", unsealed_));
  }
  report_.sealed = matched_;
  report_.gone = gone_;
  report_.unsealed = unsealed_;
  report_.redacted = redacted_;
  return report_;
}

}  // namespace annalctl::proof
