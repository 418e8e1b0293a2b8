// Merges rows by time in a temporary database.
#include "tools/annalctl/query/merge.h"

#include <fmt/format.h>

#include <new>
#include <string>

#include "Corix_annal.h"
#include "tools/annalctl/query/reader.h"

namespace annalctl {

namespace {

constexpr int kId = 2;

SqliteDatabase temporary(int columns) {
  // Without a name, a temporary file once it outgrows a small cache.
  SqliteDatabase database("", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  std::string list;
  for (int i = 0; i < columns; ++i) {
    list += fmt::format("{}c{}{}", i == 0 ? "" : ", ", i, i == kId ? " INTEGER" : " TEXT");
  }
  static_cast<void>(database.run("CREATE TABLE rows(" + list + "); CREATE INDEX by_time ON rows(c0)"));
  return database;
}

std::string insertion(int columns) {
  std::string places;
  for (int i = 0; i < columns; ++i) {
    places += i == 0 ? "?" : ", ?";
  }
  return fmt::format("INSERT INTO rows VALUES ({})", places);
}

}  // namespace

Merge::Merge(int columns) : columns_(columns), database_(temporary(columns)), insert_(database_, insertion(columns)) {
  require(insert_.prepared());
}

void Merge::require(bool done) const {
  if (done) {
    return;
  }
  if (database_.handle() == nullptr || database_.code() == SQLITE_NOMEM) {
    throw std::bad_alloc();
  }
  throw ReadFailure(ANNAL_QUERY_FAILED, ReadFailure::Clock::now(),
                    fmt::format("the folder for temporary files cannot take what has to be sorted: {} (make room "
                                "there, or name another folder in SQLITE_TMPDIR)",
                                database_.message()));
}

void Merge::add(const RowBuffer& page) {
  require(database_.run("BEGIN"));
  for (std::size_t row = 0; row < page.size(); ++row) {
    int place = 0;
    for (const char* value : page.values(row)) {
      sqlite3_bind_text(insert_.handle(), ++place, value, -1, SQLITE_STATIC);
    }
    static_cast<void>(insert_.next());
    require(insert_.ended());
    insert_.reset();
  }
  require(database_.run("COMMIT"));
}

void Merge::read(Order order, std::int64_t limit, std::int64_t offset,
                 const std::function<void(const RowBuffer&)>& take) {
  const char* const direction = order == Order::kNewestFirst ? " DESC" : "";
  std::string columns;
  for (int i = 1; i < columns_; ++i) {
    columns += fmt::format(", c{}", i);
  }
  SqliteStatement rows(database_, fmt::format("SELECT rowid{0} FROM rows ORDER BY c0{1}, c1{1}, c2{1} LIMIT ? OFFSET ?",
                                              columns, direction));
  require(rows.prepared());
  rows.bind(1, limit);
  rows.bind(2, offset);
  RowBuffer page;
  while (rows.next()) {
    page.add(rows, 1);
    if (page.full()) {
      take(page);
      page.clear();
    }
  }
  require(rows.ended());
  take(page);
}

void Merge::keep_newest(std::int64_t rows) {
  require(database_.run(fmt::format(
      "DELETE FROM rows WHERE rowid NOT IN (SELECT rowid FROM rows ORDER BY c0 DESC, c1 DESC, c2 DESC LIMIT {})",
      rows)));
}

void Merge::clear() {
  require(database_.run("DELETE FROM rows"));
}

}  // namespace annalctl
