#include "tools/web/pass.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>
#include <optional>

#include "tools/web/wall_clock.h"

namespace annal_web {

using annalctl::IdRanges;
using annalctl::Query;
using annalctl::Reader;
using annalctl::ReadFailure;
using annalctl::SqliteStatement;

namespace {

std::string_view text_at(const SqliteStatement& row, int column) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(row.handle(), column));
  return text == nullptr ? std::string_view()
                         : std::string_view(text, static_cast<std::size_t>(sqlite3_column_bytes(row.handle(), column)));
}

enum Column : int {
  kId,
  kLevel,
  kUser,
  kAddress,
  kApplication,
  kDate,
  kTime,
};

std::string_view sort_text(const SqliteStatement& row, SortBy sort) {
  // What an address can hold.
  constexpr std::size_t kMostBytes = 200;
  constexpr int kComputerColumn = kTime + 1;
  switch (sort) {
    case SortBy::kUser:
      return text_at(row, kUser).substr(0, kMostBytes);
    case SortBy::kAddress:
      return text_at(row, kAddress).substr(0, kMostBytes);
    case SortBy::kApplication:
      return text_at(row, kApplication).substr(0, kMostBytes);
    case SortBy::kComputer:
      return text_at(row, kComputerColumn).substr(0, kMostBytes);
    default:
      return {};
  }
}

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
  Walk(const Selection& selection, std::size_t wanted, const Budget& budget)
      : selection_(selection), budget_(budget), first_(selection, wanted) {}

  void through(OpenLog& log) {
    const Part& part = *log.part;
    const annalctl::Log& its = *part.log;
    Query query;
    query.conditions = log.conditions;
    Reader& reader = *log.reader;
    const std::string text =
        fmt::format("SELECT t.rowid, {}, {}, {}, {}, {}, {}, {} FROM {} AS t NOT INDEXED{}", its.level, part.user,
                    part.address, part.application, its.date, its.time == nullptr ? "NULL" : its.time, part.computer,
                    reader.table(), where(query, IdRanges::condition()));
    SqliteStatement rows = patiently([&reader, &text] { return reader.prepare(text); });
    bind_values(rows, query, 3);
    // What is added from now on belongs to a later page.
    const std::int64_t highest = patiently([&reader] { return reader.highest_id(); });
    IdRanges ranges(reader, IdRanges::Direction::kFalling, {.through = highest});
    while (turn(part, reader, ranges, rows)) {
      if (budget_.spent()) {
        pass_.complete = false;
        return;
      }
    }
  }

  [[nodiscard]] Pass result() {
    pass_.more = first_.more();
    pass_.places = first_.take();
    if (selection_.before) {
      std::reverse(pass_.places.begin(), pass_.places.end());
    }
    return std::move(pass_);
  }

 private:
  bool turn(const Part& part, Reader& reader, IdRanges& ranges, SqliteStatement& rows) {
    std::optional<Reader::Turn> turn;
    patiently([&turn, &reader] { turn.emplace(reader); });
    const std::optional<IdRanges::Bounds> range = ranges.next();
    if (!range) {
      return false;
    }
    rows.bind(1, range->after);
    rows.bind(2, range->through);
    while (reader.next(rows)) {
      take(part, rows);
    }
    rows.reset();
    ranges.learn_from(*turn);
    return true;
  }

  void take(const Part& part, const SqliteStatement& row) {
    const std::int64_t level = row.integer(kLevel);
    const Grade grade = part.grade(level);
    const std::int64_t wall = wall_of(part, row);
    Summary& summary = pass_.summary;
    ++summary.entries;
    summary.levels.add(selection_.alone() ? level_name(part, level) : grade_name(grade));
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
    place_.text = sort_text(row, selection_.sort);
    first_.add(place_);
  }

  // Severities count down.
  [[nodiscard]] std::int64_t badness(const Part& part, std::int64_t level) const {
    return selection_.alone() && !part.alone.level.rising ? -level : static_cast<std::int64_t>(part.grade(level));
  }

  static std::int64_t wall_of(const Part& part, const SqliteStatement& row) {
    if (part.log->time == nullptr) {
      return wall_seconds(row.integer(kDate));
    }
    return wall_seconds(text_at(row, kDate), text_at(row, kTime));
  }

  const Selection& selection_;
  const Budget& budget_;
  FirstPlaces first_;
  Pass pass_;
  Place place_;
};

}  // namespace

Pass pass_through(const Selection& selection, std::vector<OpenLog>& logs, std::size_t wanted, const Budget& budget) {
  Walk walk(selection, wanted, budget);
  for (OpenLog& log : logs) {
    if (!log.readable()) {
      continue;
    }
    try {
      walk.through(log);
    } catch (const ReadFailure& failure) {
      give_up(log, "list", failure);
    }
  }
  return walk.result();
}

}  // namespace annal_web
