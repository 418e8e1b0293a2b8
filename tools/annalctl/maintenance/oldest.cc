// Finds the oldest entries in small portions. The date has an index, the time of day has none, so the entries of one
// day are sorted in a temporary database.
#include "tools/annalctl/maintenance/oldest.h"

#include <fmt/format.h>

#include <limits>

namespace annalctl {

namespace {

constexpr std::int64_t kAtOnce = 1024;

void take_ids(Reader& reader, SqliteStatement& statement, std::vector<std::int64_t>& ids) {
  while (reader.next(statement)) {
    ids.push_back(statement.integer(0));
  }
  statement.reset();
}

}  // namespace

OldestFirst::OldestFirst(Reader& reader, const Log& log, const Query& query)
    : reader_(reader), log_(log), query_(query) {}

bool OldestFirst::next(std::vector<std::int64_t>& ids) {
  ids.clear();
  // A time in seconds has an index in this order; the index of a date is not.
  if (log_.time == nullptr) {
    return next_by_index(ids);
  }
  while (ids.empty()) {
    if (!sorting_ && !sort_next_day()) {
      return false;
    }
    SqliteStatement sorted =
        reader_.prepare(fmt::format("SELECT id FROM temp.annal_day ORDER BY time, id LIMIT {}", kAtOnce));
    take_ids(reader_, sorted, ids);
    sorting_ = !ids.empty();
    if (sorting_) {
      reader_.run(fmt::format(
          "DELETE FROM temp.annal_day WHERE (time, id) IN (SELECT time, id FROM temp.annal_day ORDER BY time, id "
          "LIMIT {})",
          kAtOnce));
    }
  }
  return true;
}

bool OldestFirst::next_by_index(std::vector<std::int64_t>& ids) {
  const Reader::Turn turn(reader_);
  SqliteStatement statement = reader_.prepare(fmt::format("SELECT rowid FROM {} AS t{} ORDER BY {} LIMIT {}",
                                                          reader_.table(), where(query_), log_.date, kAtOnce));
  bind_values(statement, query_, 1);
  take_ids(reader_, statement, ids);
  return !ids.empty();
}

std::optional<std::string> OldestFirst::next_day() {
  const Reader::Turn turn(reader_);
  SqliteStatement statement =
      reader_.prepare(fmt::format("SELECT min({}) FROM {} AS t{}", log_.date, reader_.table(), where(query_)));
  bind_values(statement, query_, 1);
  reader_.next(statement);
  const bool none = sqlite3_column_type(statement.handle(), 0) == SQLITE_NULL;
  return none ? std::nullopt : std::optional(statement.text(0));
}

bool OldestFirst::sort_next_day() {
  const std::optional<std::string> day = next_day();
  if (!day) {
    return false;
  }
  reader_.run(
      "CREATE TABLE IF NOT EXISTS temp.annal_day (time, id INTEGER, PRIMARY KEY (time, id)) WITHOUT ROWID; "
      "DELETE FROM temp.annal_day");
  // By the index of the date, which has one day's entries in the order of their ids.
  SqliteStatement rows =
      reader_.prepare(fmt::format("SELECT rowid, {} FROM {} WHERE {} = ?1 AND rowid > ?2 ORDER BY "
                                  "rowid LIMIT {}",
                                  log_.time, reader_.table(), log_.date, kAtOnce));
  SqliteStatement add = reader_.prepare("INSERT INTO temp.annal_day VALUES (coalesce(?1, ''), ?2)");
  struct Found {
    std::string time;
    std::int64_t id;
  };
  std::vector<Found> found;
  std::int64_t last = std::numeric_limits<std::int64_t>::min();
  do {
    found.clear();
    {
      const Reader::Turn turn(reader_);
      rows.bind(1, *day);
      rows.bind(2, last);
      while (reader_.next(rows)) {
        found.push_back({rows.text(1), rows.integer(0)});
      }
      rows.reset();
    }
    reader_.run("SAVEPOINT annal_sorting");
    for (const Found& one : found) {
      add.bind(1, one.time);
      add.bind(2, one.id);
      reader_.next(add);
      add.reset();
      last = one.id;
    }
    reader_.run("RELEASE annal_sorting");
  } while (!found.empty());
  return true;
}

}  // namespace annalctl
