// Searches the ids of a log by bisection, in one short turn.
#include "tools/web/start_id.h"

#include <fmt/format.h>

#include <numeric>

#include "tools/web/wall_clock.h"

namespace annal_web {

namespace {

using annalctl::Reader;
using annalctl::SqliteStatement;

std::int64_t wall_of(const Part& part, const SqliteStatement& row) {
  return part.log->time == nullptr ? wall_seconds(row.integer(1)) : wall_seconds(row.text(1), row.text(2));
}

}  // namespace

std::int64_t start_id(const OpenLog& log, const Place& place, std::int64_t highest) {
  const Part& part = *log.part;
  if (place.part == place_of(part)) {
    return place.id;
  }
  // Of entries with the same time the log decides.
  const std::int64_t newest = place_of(part) < place.part ? place.number : place.number - 1;
  Reader& reader = *log.reader;
  const std::string text =
      fmt::format("SELECT t.rowid, {}, {} FROM {} AS t NOT INDEXED WHERE t.rowid {} LIMIT 1", part.log->date,
                  part.log->time == nullptr ? "NULL" : part.log->time, reader.table(), ">= ? ORDER BY t.rowid");
  SqliteStatement next = patiently([&reader, &text] { return reader.prepare(text); });
  std::optional<Reader::Turn> turn;
  patiently([&turn, &reader] { turn.emplace(reader); });
  next.bind(1, std::numeric_limits<std::int64_t>::min());
  std::int64_t low = reader.next(next) ? next.integer(0) : highest;
  std::int64_t high = highest;
  while (low < high) {
    next.reset();
    // Rounded up.
    const std::int64_t middle = std::midpoint(high, low);
    next.bind(1, middle);
    if (reader.next(next) && next.integer(0) <= high && wall_of(part, next) <= newest) {
      low = next.integer(0);
    } else {
      high = middle - 1;
    }
  }
  next.reset();
  return low;
}

}  // namespace annal_web
