// Reads a page's entries by their ids, folds repeats, and finds an entry's fields and neighbours.
#include "tools/web/lines.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "tools/annalctl/output/text_table.h"
#include "tools/annalctl/query/fold.h"
#include "tools/web/wall_clock.h"
#include "tools/web/writers_first.h"

namespace annal_web {

using annalctl::Reader;
using annalctl::ReadFailure;
using annalctl::SqliteStatement;

namespace {

enum Column : int {
  kId,
  kLevel,
  kDate,
  kTime,
  kUser,
  kAddress,
  kComputer,
  kApplication,
  kMessage,
  kFirstOfLog,
};

std::string statement_of(const Part& part, const Reader& reader) {
  const annalctl::Log& log = *part.log;
  return fmt::format("SELECT t.rowid, {}, {}, {}, {}, {}, {}, {}, {}, t.* FROM {} AS t WHERE t.rowid = ?", log.level,
                     log.date, log.time == nullptr ? "NULL" : log.time, part.user, part.address, part.computer,
                     part.application, part.message, reader.table());
}

constexpr std::chrono::milliseconds kLongTurn{1};

// What is shown of it is far less.
std::string bounded_text(const SqliteStatement& row, int column) {
  constexpr int kMostBytes = 16384;
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(row.handle(), column));
  const int size = std::min(sqlite3_column_bytes(row.handle(), column), kMostBytes);
  return text == nullptr ? std::string() : std::string(text, static_cast<std::size_t>(size));
}

std::vector<const char*> columns_of_log(const SqliteStatement& row) {
  std::vector<const char*> values;
  for (int i = kFirstOfLog; i < sqlite3_column_count(row.handle()); ++i) {
    values.push_back(reinterpret_cast<const char*>(sqlite3_column_text(row.handle(), i)));
  }
  return values;
}

Line line_of(const Part& part, const SqliteStatement& row) {
  Line line;
  line.part = &part;
  line.level = row.integer(kLevel);
  line.user = bounded_text(row, kUser);
  line.address = bounded_text(row, kAddress);
  line.computer = bounded_text(row, kComputer);
  line.application = bounded_text(row, kApplication);
  line.message = bounded_text(row, kMessage);
  if (part.log->time != nullptr) {
    line.date = bounded_text(row, kDate);
    line.time = bounded_text(row, kTime);
  } else {
    const std::string wall = wall_text(wall_seconds(row.integer(kDate)));
    const std::size_t blank = std::min(wall.find(' '), wall.size());
    line.date = wall.substr(0, blank);
    line.time = wall.substr(std::min(blank + 1, wall.size()));
  }
  line.moment = annalctl::timestamp_of(*part.entry, columns_of_log(row), annalctl::Zone::kLocal).value_or("");
  return line;
}

// Does something for each of some rows, in short turns.
template <typename Work>
void for_rows(OpenLog& log, const std::vector<Place>& places, Work work) {
  Reader& reader = *log.reader;
  const std::string text = statement_of(*log.part, reader);
  SqliteStatement rows = patiently([&reader, &text] { return reader.prepare(text); });
  WritersFirst pause(log);
  std::optional<Reader::Turn> turn;
  for (const Place& place : places) {
    if (&parts()[place.part] == log.part) {
      if (turn && turn->lasted() > kLongTurn) {
        pause.turn_lasted(turn->lasted());
        turn.reset();
      }
      if (!turn) {
        pause.before_turn();
        patiently([&turn, &reader] { turn.emplace(reader); });
      }
      rows.bind(1, place.id);
      if (reader.next(rows)) {
        work(place, rows);
      }
      rows.reset();
    }
  }
}

// What entries share that say the same.
struct Likeness {
  const Part* part;
  std::int64_t level;
  std::string user;
  std::string address;
  std::string application;
  std::string message;

  auto operator<=>(const Likeness&) const = default;
};

Likeness likeness_of(const Line& line) {
  return {line.part, line.level, line.user, line.address, line.application, annalctl::folded(line.message, line.user)};
}

}  // namespace

std::vector<Line> read_lines(std::vector<OpenLog>& logs, const std::vector<Place>& places) {
  std::map<Place, Line> found;
  for (OpenLog& log : logs) {
    if (!log.readable()) {
      continue;
    }
    try {
      for_rows(log, places, [&found, &log](const Place& place, const SqliteStatement& row) {
        Line line = line_of(*log.part, row);
        line.place = place;
        found.emplace(place, std::move(line));
      });
    } catch (const ReadFailure& failure) {
      give_up(log, "list", failure);
    }
  }
  std::vector<Line> lines;
  for (const Place& place : places) {
    if (const auto line = found.find(place); line != found.end()) {
      lines.push_back(std::move(line->second));
    }
  }
  return lines;
}

Folding fold(std::vector<Line> lines, std::size_t most) {
  Folding folding;
  std::map<Likeness, std::size_t> known;
  for (Line& line : lines) {
    const auto [alike, is_new] = known.try_emplace(likeness_of(line), folding.lines.size());
    if (is_new && folding.lines.size() == most) {
      folding.whole = false;
      break;
    }
    folding.last = line.place;
    if (is_new) {
      folding.lines.push_back(std::move(line));
    } else {
      Line& first = folding.lines[alike->second];
      ++first.count;
      first.other_time = line.date + " " + line.time;
    }
  }
  return folding;
}

bool keep_last(std::vector<Line>& lines, std::size_t most) {
  std::set<Likeness> known;
  const auto last_that_does_not_fit = std::find_if(lines.rbegin(), lines.rend(), [&known, most](const Line& line) {
    known.insert(likeness_of(line));
    return known.size() > most;
  });
  const bool some = last_that_does_not_fit != lines.rend();
  lines.erase(lines.begin(), last_that_does_not_fit.base());
  return some;
}

std::optional<Entry> read_entry(OpenLog& log, std::int64_t id) {
  std::optional<Entry> entry;
  if (!log.readable()) {
    return entry;
  }
  const Place place{.part = place_of(*log.part), .id = id};
  try {
    for_rows(log, {place}, [&entry, &log, &place](const Place&, const SqliteStatement& row) {
      entry = Entry{line_of(*log.part, row), {}};
      entry->line.place = place;
      for (int i = kFirstOfLog; i < sqlite3_column_count(row.handle()); ++i) {
        Field& field = entry->fields.emplace_back();
        field.name = sqlite3_column_name(row.handle(), i);
        if (sqlite3_column_type(row.handle(), i) != SQLITE_NULL) {
          field.value = bounded_text(row, i);
          const auto column = static_cast<std::size_t>(i - kFirstOfLog);
          field.meaning = annalctl::meaning_of(log.part->codes, column, field.value->c_str());
        }
      }
    });
  } catch (const ReadFailure& failure) {
    give_up(log, "show", failure);
  }
  return entry;
}

std::vector<Place> neighbours(OpenLog& log, std::int64_t id) {
  static constexpr int kMost = 15;
  std::vector<Place> places;
  if (!log.readable()) {
    return places;
  }
  try {
    Reader& reader = *log.reader;
    const auto take = [&places, &reader, &log, id](const char* condition) {
      const std::string text =
          fmt::format("SELECT rowid FROM {} NOT INDEXED WHERE rowid {} LIMIT {}", reader.table(), condition, kMost);
      SqliteStatement rows = patiently([&reader, &text] { return reader.prepare(text); });
      rows.bind(1, id);
      while (reader.next(rows)) {
        places.push_back({.part = place_of(*log.part), .id = rows.integer(0)});
      }
    };
    const annalctl::Reader::Turn turn(reader);
    take("> ? ORDER BY rowid");
    std::reverse(places.begin(), places.end());
    places.push_back({.part = place_of(*log.part), .id = id});
    take("< ? ORDER BY rowid DESC");
  } catch (const ReadFailure& failure) {
    give_up(log, "show", failure);
  }
  return places;
}

std::vector<Place> selected(OpenLog& log, const std::vector<Place>& places) {
  std::vector<Place> meeting;
  if (!log.readable()) {
    return meeting;
  }
  try {
    annalctl::Query query;
    query.conditions = log.conditions;
    const std::string text = fmt::format("SELECT 1 FROM {} AS t{}", log.reader->table(), where(query, "t.rowid = ?1"));
    SqliteStatement rows = log.reader->prepare(text);
    bind_values(rows, query, 2);
    const annalctl::Reader::Turn turn(*log.reader);
    for (const Place& place : places) {
      rows.bind(1, place.id);
      if (log.reader->next(rows)) {
        meeting.push_back(place);
      }
      rows.reset();
    }
  } catch (const ReadFailure& failure) {
    give_up(log, "show", failure);
  }
  return meeting;
}

}  // namespace annal_web
