// Walks the logs in turns, from where the page begins on, fills the summary and keeps the page's places in a heap.
#include "tools/web/pass.h"

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>

#include "tools/web/start_id.h"
#include "tools/web/wall_clock.h"
#include "tools/web/writers_first.h"

namespace annal_web {

using annalctl::IdRanges;
using annalctl::Query;
using annalctl::Reader;
using annalctl::ReadFailure;
using annalctl::SqliteStatement;

namespace {

enum Column : int {
  kId,
  kLevel,
  kUser,
  kAddress,
  kApplication,
  kDate,
  kTime,
  kComputer,
};

// Which of them an order goes by.
Column column_of(SortBy sort) {
  switch (sort) {
    case SortBy::kUser:
      return kUser;
    case SortBy::kAddress:
      return kAddress;
    case SortBy::kComputer:
      return kComputer;
    case SortBy::kApplication:
      return kApplication;
    default:
      return kId;
  }
}

bool is_in_utf8(Reader& reader) {
  SqliteStatement encoding = reader.prepare("PRAGMA main.encoding");
  return patiently([&reader, &encoding] { return reader.next(encoding); }) && encoding.text(0) == "UTF-8";
}

// A part of a log, and which end of it comes first.
struct Leg {
  IdRanges::Direction direction;
  IdRanges::Bounds bounds;
};

// The page's own entries first. All of a log is looked at in any case, unless the time is up before.
std::vector<Leg> legs_of(const Selection& selection, const OpenLog& log, std::int64_t highest) {
  using enum IdRanges::Direction;
  const std::optional<Place>& bound = selection.before ? selection.before : selection.after;
  const bool to_older = selection.descending != selection.before.has_value();
  if (selection.sort != SortBy::kTime || (!bound && to_older)) {
    return {{kFalling, {.through = highest}}};
  }
  if (!bound) {
    return {{kRising, {.through = highest}}};
  }
  const std::int64_t start = std::min(start_id(log, *bound, highest), highest);
  const Leg older{kFalling, {.through = start}};
  const Leg newer_from_start{kRising, {.after = start, .through = highest}};
  const Leg newer_from_end{kFalling, {.after = start, .through = highest}};
  return to_older ? std::vector<Leg>{older, newer_from_end} : std::vector<Leg>{newer_from_start, older};
}

// A log on its way through the pass.
class Scan {
 public:
  Scan(OpenLog& log, const Selection& selection) : log_(log), pause_(log) {
    const Part& part = *log.part;
    const annalctl::Log& its = *part.log;
    query_.conditions = log.conditions;
    Reader& reader = *log.reader;
    const std::string text =
        fmt::format("SELECT t.rowid, {}, {}, {}, {}, {}, {}, {} FROM {} AS t NOT INDEXED{}", its.level, part.user,
                    part.address, part.application, its.date, its.time == nullptr ? "NULL" : its.time, part.computer,
                    reader.table(), where(query_, IdRanges::condition()));
    rows_.emplace(patiently([&reader, &text] { return reader.prepare(text); }));
    is_utf8_ = is_in_utf8(reader);
    bind_values(*rows_, query_, 3);
    // What is added from now on belongs to a later page.
    const std::int64_t highest = patiently([&reader] { return reader.highest_id(); });
    legs_ = legs_of(selection, log, highest);
  }
  Scan(const Scan&) = delete;
  Scan& operator=(const Scan&) = delete;

  [[nodiscard]] OpenLog& log() { return log_; }
  [[nodiscard]] bool is_utf8() const { return is_utf8_; }

  // Gives some more rows to look at, while the log is locked. False when there are none left.
  template <typename Look>
  bool turn(Look look) {
    Reader& reader = *log_.reader;
    while (leg_ < legs_.size()) {
      if (!ranges_) {
        constexpr IdRanges::Pace kPace{std::chrono::microseconds(500), std::chrono::microseconds(1500)};
        ranges_.emplace(reader, legs_[leg_].direction, legs_[leg_].bounds, kPace);
      }
      pause_.before_turn();
      std::optional<Reader::Turn> turn;
      patiently([&turn, &reader] { turn.emplace(reader); });
      const std::optional<IdRanges::Bounds> range = ranges_->next();
      if (range) {
        rows_->bind(1, range->after);
        rows_->bind(2, range->through);
        while (reader.next(*rows_)) {
          look(*rows_);
        }
        rows_->reset();
        ranges_->learn_from(*turn);
        pause_.turn_lasted(turn->lasted());
        return true;
      }
      ranges_.reset();
      ++leg_;
    }
    return false;
  }

 private:
  OpenLog& log_;
  WritersFirst pause_;
  Query query_;
  std::optional<SqliteStatement> rows_;
  std::vector<Leg> legs_;
  std::size_t leg_ = 0;
  std::optional<IdRanges> ranges_;
  bool is_utf8_ = false;
};

// The first so many places of an order. The last of them is at hand, because most of what comes is behind it.
class FirstPlaces {
  [[nodiscard]] bool is_before(const Place& left, const Place& right) const {
    return descending_ ? right < left : left < right;
  }
  [[nodiscard]] auto order() const {
    return [this](const Place& left, const Place& right) { return is_before(left, right); };
  }

 public:
  FirstPlaces(const Selection& selection, std::size_t wanted)
      : bound_(selection.before ? selection.before : selection.after),
        descending_(selection.descending != selection.before.has_value()),
        wanted_(wanted) {}

  void add(const Place& place) {
    if (bound_ && !is_before(*bound_, place)) {
      return;
    }
    if (places_.size() == wanted_) {
      more_ = true;
      if (wanted_ == 0 || !is_before(place, places_.front())) {
        return;
      }
      std::pop_heap(places_.begin(), places_.end(), order());
      places_.back() = place;
    } else {
      places_.push_back(place);
    }
    std::push_heap(places_.begin(), places_.end(), order());
  }

  [[nodiscard]] std::vector<Place> take() {
    std::sort_heap(places_.begin(), places_.end(), order());
    return std::move(places_);
  }
  [[nodiscard]] bool more() const { return more_; }

 private:
  std::optional<Place> bound_;
  bool descending_;
  std::size_t wanted_;
  std::vector<Place> places_;
  bool more_ = false;
};

class Walk {
 public:
  Walk(const Selection& selection, std::size_t wanted)
      : selection_(selection),
        first_(selection, wanted),
        by_text_(selection.sort != SortBy::kTime && selection.sort != SortBy::kLevel) {}

  // False when there are no rows left.
  bool turn(Scan& scan) {
    const Part& part = *scan.log().part;
    is_utf8_ = scan.is_utf8();
    return scan.turn([this, &part](const SqliteStatement& row) { take(part, row); });
  }

  void stop() { pass_.complete = false; }

  [[nodiscard]] Pass result() {
    for (const auto& [level, count] : levels_) {
      pass_.summary.levels.add(
          selection_.alone() ? level_name(*selection_.parts.front(), level) : grade_name(static_cast<Grade>(level)),
          count);
    }
    pass_.more = first_.more();
    pass_.places = first_.take();
    if (selection_.before) {
      std::reverse(pass_.places.begin(), pass_.places.end());
    }
    return std::move(pass_);
  }

 private:
  void take(const Part& part, const SqliteStatement& row) {
    const std::int64_t level = row.integer(kLevel);
    const Grade grade = part.grade(level);
    const std::int64_t wall = wall_of(part, row);
    Summary& summary = pass_.summary;
    ++summary.entries;
    count_level(selection_.alone() ? level : static_cast<std::int64_t>(grade));
    summary.users.add(text_at(row, kUser));
    summary.addresses.add(text_at(row, kAddress));
    summary.applications.add(text_at(row, kApplication));
    if (wall != kNoTime) {
      summary.histogram.add(wall, grade);
    }
    place_.part = place_of(part);
    place_.id = row.integer(kId);
    place_.number = selection_.sort == SortBy::kTime    ? wall
                    : selection_.sort == SortBy::kLevel ? badness(part, level)
                                                        : 0;
    if (by_text_) {
      place_.text = text_at(row, column_of(selection_.sort)).substr(0, kLongestInAddress);
    }
    first_.add(place_);
  }

  // As bytes, which in UTF-8 are the text and need not be copied to get a terminator.
  [[nodiscard]] std::string_view text_at(const SqliteStatement& row, int column) const {
    const void* const text = is_utf8_ ? sqlite3_column_blob(row.handle(), column)
                                      : static_cast<const void*>(sqlite3_column_text(row.handle(), column));
    return text == nullptr ? std::string_view()
                           : std::string_view(static_cast<const char*>(text),
                                              static_cast<std::size_t>(sqlite3_column_bytes(row.handle(), column)));
  }

  // There are few, and many entries of each.
  void count_level(std::int64_t level) {
    constexpr std::size_t kMostLevels = 1000;
    const auto known =
        std::find_if(levels_.begin(), levels_.end(), [level](const auto& one) { return one.first == level; });
    if (known != levels_.end()) {
      ++known->second;
    } else if (levels_.size() < kMostLevels) {
      levels_.emplace_back(level, 1);
    }
  }

  // Severities count down.
  [[nodiscard]] std::int64_t badness(const Part& part, std::int64_t level) const {
    return selection_.alone() && !part.alone.level.rising ? -level : static_cast<std::int64_t>(part.grade(level));
  }

  // Neighbours are of the same day.
  std::int64_t wall_of(const Part& part, const SqliteStatement& row) {
    if (part.log->time == nullptr) {
      return wall_seconds(row.integer(kDate));
    }
    const std::string_view date = text_at(row, kDate);
    if (date != date_) {
      date_ = date.substr(0, kLongestDate);
      midnight_ = wall_seconds(date, "00:00:00");
    }
    const std::int64_t since_midnight = seconds_of_day(text_at(row, kTime));
    return midnight_ == kNoTime || since_midnight < 0 ? kNoTime : midnight_ + since_midnight;
  }
  static constexpr std::size_t kLongestDate = 16;
  static constexpr std::size_t kLongestInAddress = 200;

  const Selection& selection_;
  FirstPlaces first_;
  bool by_text_;
  bool is_utf8_ = false;
  Pass pass_;
  Place place_;
  std::vector<std::pair<std::int64_t, std::uint64_t>> levels_;
  std::string date_;
  std::int64_t midnight_ = kNoTime;
};

}  // namespace

Pass pass_through(const Selection& selection, std::vector<OpenLog>& logs, std::size_t wanted, const Budget& budget) {
  Walk walk(selection, wanted);
  std::vector<std::unique_ptr<Scan>> scans;
  for (OpenLog& log : logs) {
    if (log.readable()) {
      try {
        scans.push_back(std::make_unique<Scan>(log, selection));
      } catch (const ReadFailure& failure) {
        give_up(log, "list", failure);
      }
    }
  }
  const auto has_ended = [&walk](std::unique_ptr<Scan>& scan) {
    OpenLog& log = scan->log();
    try {
      return !walk.turn(*scan);
    } catch (const ReadFailure& failure) {
      // Its statements have to be gone before the log is closed.
      scan.reset();
      give_up(log, "list", failure);
      return true;
    }
  };
  // In turns, so that a large log does not keep the others off the page.
  while (!scans.empty()) {
    std::erase_if(scans, has_ended);
    if (!scans.empty() && budget.spent()) {
      walk.stop();
      break;
    }
  }
  return walk.result();
}

}  // namespace annal_web
