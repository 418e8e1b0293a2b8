// Sorts and groups rows in a private temporary database.
#include "tools/annalctl/query/sorted_rows.h"

#include <fmt/format.h>

#include <optional>
#include <vector>

namespace annalctl {

namespace {

// Beyond it, keeping only the best rows of each range saves nothing.
constexpr std::int64_t kFewRows = 1000;

// In memory up to the size of the cache, then in a file without a name, which ends with the process. Its content is of
// no use after a failure, so it needs no journal.
void prepare_temporary(Reader& reader) {
  reader.run("PRAGMA temp_store = FILE; PRAGMA temp.cache_size = -4096; PRAGMA temp.journal_mode = OFF;");
}

// Runs a statement over all ids, a range at a time.
void collect(Reader& reader, const Query& query, const std::string& text, std::optional<std::int64_t> limit) {
  IdRanges ranges(reader, IdRanges::Direction::kRising, {.through = reader.highest_id()});
  SqliteStatement statement = reader.prepare(text);
  const int place = bind_values(statement, query, 3);
  if (limit) {
    statement.bind(place, *limit);
  }
  for (bool more = true; more;) {
    const Reader::Turn turn(reader);
    const std::optional<IdRanges::Bounds> range = ranges.next();
    more = range.has_value();
    if (more) {
      statement.bind(1, range->after);
      statement.bind(2, range->through);
      while (reader.next(statement)) {
      }
      statement.reset();
      ranges.learn_from(turn);
    }
  }
}

// The next ids in order, after a place in it.
std::vector<std::int64_t> ids_after(Reader& reader, SqliteStatement& statement, std::int64_t place) {
  std::vector<std::int64_t> ids;
  statement.bind(1, place);
  while (reader.next(statement)) {
    ids.push_back(statement.integer(0));
  }
  statement.reset();
  return ids;
}

}  // namespace

void read_sorted(Reader& reader, const Query& query, std::int64_t limit, std::int64_t offset, const TakePage& take) {
  prepare_temporary(reader);
  const std::string keys = listed(query.sort);
  reader.run(fmt::format("CREATE TEMP TABLE kept AS SELECT t.rowid AS annal_id, {} FROM {} AS t WHERE 0", keys,
                         reader.table()));
  const bool few = limit < kFewRows && offset < kFewRows;
  collect(reader, query,
          fmt::format("INSERT INTO temp.kept SELECT t.rowid, {} FROM {} AS t NOT INDEXED{}{}", keys, reader.table(),
                      where(query, IdRanges::condition()), few ? order_of_rows(query, "t.rowid") + " LIMIT ?" : ""),
          few ? std::optional(limit + offset) : std::nullopt);
  {
    reader.run("CREATE TEMP TABLE ranked (annal_id)");
    SqliteStatement rank = reader.prepare(fmt::format(
        "INSERT INTO temp.ranked SELECT annal_id FROM temp.kept{} LIMIT ? OFFSET ?", order_of_rows(query, "annal_id")));
    rank.bind(1, limit);
    rank.bind(2, offset);
    reader.next(rank);
  }
  reader.run("DROP TABLE temp.kept");

  SqliteStatement ranked = reader.prepare(
      fmt::format("SELECT annal_id FROM temp.ranked WHERE rowid > ? ORDER BY rowid LIMIT {}", RowBuffer::kMostRows));
  SqliteStatement row =
      reader.prepare(fmt::format("SELECT t.rowid, {} FROM {} AS t WHERE t.rowid = ?", query.columns, reader.table()));
  RowBuffer page;
  std::int64_t place = 0;
  for (bool more = true; more;) {
    const std::vector<std::int64_t> ids = ids_after(reader, ranked, place);
    page.clear();
    {
      const Reader::Turn turn(reader);
      for (auto id = ids.begin(); id != ids.end() && !page.full(); ++id, ++place) {
        row.bind(1, *id);
        if (reader.next(row)) {
          page.add(row, 1);
        }
        row.reset();
      }
    }
    more = !ids.empty();
    take(page);
  }
}

void read_groups(Reader& reader, const Query& query, std::int64_t limit, std::int64_t offset, const TakePage& take) {
  prepare_temporary(reader);
  const std::string groups = listed(query.groups);
  // The groups of a range, each with its newest row. The groups of all ranges are combined at the end.
  const auto parts = [&](const std::string& condition) {
    return fmt::format(
        "SELECT g.annal_id AS annal_id, g.annal_size AS annal_size, {0} FROM (SELECT max(rowid) AS annal_id, count(*) "
        "AS annal_size FROM {1} NOT INDEXED{2} GROUP BY {3}) AS g JOIN {1} AS t ON t.rowid = g.annal_id",
        query.columns, reader.table(), condition, groups);
  };
  reader.run("CREATE TEMP TABLE kept AS " + parts(" WHERE 0"));
  collect(reader, query, "INSERT INTO temp.kept " + parts(where(query, IdRanges::condition())), {});

  // Beside a single max(), SQLite takes the other columns from the row that has the maximum.
  SqliteStatement all = reader.prepare(
      fmt::format("SELECT max(annal_id), kept.*, sum(annal_size) AS annal_total FROM temp.kept AS kept GROUP BY {}{} "
                  "LIMIT ? OFFSET ?",
                  groups, order_of_groups(query, "annal_total")));
  all.bind(1, limit);
  all.bind(2, offset);
  constexpr int kBeforeTheRow = 3;
  RowBuffer page;
  for (bool more = true; more;) {
    page.clear();
    while (!page.full() && (more = reader.next(all))) {
      page.add(all, kBeforeTheRow);
    }
    take(page);
  }
}

}  // namespace annalctl
