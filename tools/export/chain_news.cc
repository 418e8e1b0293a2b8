// Follows a chain's tombstones and head by a mark, and reads what the redacted entries are like now.
#include "tools/export/chain_news.h"

#include <fmt/format.h>
#include <sys/stat.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>

#include "tools/annalctl/proof/chain_file.h"
#include "tools/annalctl/proof/redaction.h"
#include "tools/export/report.h"

namespace exporter {

namespace {

using annalctl::proof::Access;
using annalctl::proof::ChainFailure;
using annalctl::proof::ChainFile;
using annalctl::proof::ChainInUse;
using annalctl::proof::Tombstone;

constexpr std::size_t kMost = 256;
constexpr std::chrono::milliseconds kNoWait{0};

// A cut-off run leaves a tombstone and the entry as it was. Whoever runs it again leaves another tombstone.
bool was_redacted(const annalctl::SqliteStatement& row) {
  for (int column = 0; column < sqlite3_column_count(row.handle()); ++column) {
    if (sqlite3_column_type(row.handle(), column) == SQLITE_TEXT && row.text(column) == annalctl::proof::kMarker) {
      return true;
    }
  }
  return false;
}

std::string id_of(const ChainFile& chain) {
  return annalctl::proof::hex_of(chain.head().chain);
}

}  // namespace

ChainNews::ChainNews(const SourceLog& log, LogReader& reader)
    : log_(log), reader_(reader), path_(annalctl::proof::chain_path(log.path)) {}

ChainNews::Look ChainNews::look() const {
  struct stat status {};
  if (stat(path_.c_str(), &status) != 0) {
    return {};
  }
  return {static_cast<std::int64_t>(status.st_ino), status.st_size, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

bool ChainNews::may_be_there(const State& state) const {
  return owed_ || (waits_from_ >= 0 && state.position != waits_from_) || look() != seen_;
}

const ChainMark& ChainNews::mark_after(std::size_t acknowledged) const {
  return marks_.empty() ? mark_ : marks_[acknowledged - 1];
}

void ChainNews::say(const std::string& sentence) {
  if (said_ != sentence) {
    report(sentence);
    said_ = sentence;
  }
}

ChainMark ChainNews::mark_behind_all(const ChainMark& former) const {
  try {
    const std::optional<ChainFile> chain = ChainFile::open(path_, Access::kRead, kNoWait);
    if (!chain) {
      return {};
    }
    const std::string id = id_of(*chain);
    return {.chain = id, .position = chain->head().records, .head = id == former.chain ? former.head : 0};
  } catch (const ChainInUse& failure) {
    throw ReadTrouble(failure.what());
  } catch (const ChainFailure&) {  // Nothing can be said of that one later either.
    return {};
  }
}

void ChainNews::read(const State& state, Page& page) {
  page.clear();
  marks_.clear();
  mark_ = state.seal;
  waits_from_ = -1;
  owed_ = true;
  const Look before = look();
  try {
    if (const std::optional<ChainFile> chain = ChainFile::open(path_, Access::kRead, kNoWait)) {
      read(*chain, state, page);
    } else {
      owed_ = false;
    }
    said_.clear();
  } catch (const ChainInUse&) {
    return;
  } catch (const ChainFailure& failure) {
    say(fmt::format("{} (until that is mended, redactions of the {} log are not passed on)", failure.what(),
                    log_.name()));
    owed_ = false;
  }
  seen_ = before;
}

void ChainNews::read(const ChainFile& chain, const State& state, Page& page) {
  const std::string id = id_of(chain);
  if (mark_.chain != id) {
    mark_ = {.chain = id};
  }
  if (!add_redactions(chain, state, page)) {
    mark_ = state.seal;
    return;
  }
  annalctl::proof::Head head = chain.head();
  if (!log_.shape->has_place()) {
    head.file = log_.path;
  }
  if (mark_.head != head.sequence) {
    mark_.head = head.sequence;
    page.add_head(static_cast<std::int64_t>(head.sequence), head.time, id, json_of(head));
    marks_.push_back(mark_);
  }
  if (!marks_.empty()) {
    marks_.back() = mark_;
  }
  if (marks_.empty()) {
    times_.forget();
  }
  owed_ = !page.empty() || (waits_from_ < 0 && mark_.position < chain.head().records);
}

// Returns whether the chain is about this log, as far as can be told.
bool ChainNews::add_redactions(const ChainFile& chain, const State& state, Page& page) {
  std::vector<Tombstone> tombstones = annalctl::proof::tombstones_from(chain, mark_.position, kMost);
  bool all = tombstones.size() < kMost;
  const auto waiting = std::find_if(tombstones.begin(), tombstones.end(),
                                    [&state](const Tombstone& one) { return one.id > state.position; });
  if (waiting != tombstones.end()) {
    waits_from_ = state.position;
    all = false;
    tombstones.erase(waiting, tombstones.end());
  }
  std::vector<std::int64_t> ids;
  ids.reserve(tombstones.size());
  for (const Tombstone& one : tombstones) {
    ids.push_back(one.id);
  }
  // Before the log is looked at: no lock is held meanwhile.
  times_.prepare_for(tombstones, chain);
  ChainMark mark = mark_;
  const auto add = [&](std::size_t place, const annalctl::SqliteStatement* row) {
    mark.position = tombstones[place].position + 1;
    if (row == nullptr) {
      page.add_redaction(ids[place], times_.of(ids[place]));
    } else if (was_redacted(*row)) {
      page.add_entry(*row, *log_.shape, Kind::kRedaction);
    } else {
      return;
    }
    marks_.push_back(mark);
  };
  const auto whose = reader_.look_up(state, ids, add);
  if (whose == LogReader::Whose::kNobodys) {
    return false;
  }
  if (whose == LogReader::Whose::kAnother) {
    // The chain may be the new log's.
    if (state.seal.chain != mark_.chain) {
      return false;
    }
    for (std::size_t place = 0; place < ids.size(); ++place) {
      add(place, nullptr);
    }
  }
  mark_.position = all ? chain.head().records : mark.position;
  return true;
}

}  // namespace exporter
