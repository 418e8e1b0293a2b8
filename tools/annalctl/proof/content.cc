// Hashes an entry's columns so that a migration, or a later release, does not change the result.
#include "tools/annalctl/proof/content.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <limits>

#include "tools/annalctl/base/whole_number.h"

namespace annalctl::proof {

namespace {

constexpr char kForeign = '\xFF';
constexpr std::int64_t kMinute = 60;
constexpr std::int64_t kHour = 60 * kMinute;
constexpr std::int64_t kDay = 24 * kHour;

std::string_view text_at(sqlite3_stmt* row, int column) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(row, column));
  return text == nullptr ? std::string_view()
                         : std::string_view(text, static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
}

std::string_view blob_at(sqlite3_stmt* row, int column) {
  const auto* const blob = static_cast<const char*>(sqlite3_column_blob(row, column));
  return blob == nullptr ? std::string_view()
                         : std::string_view(blob, static_cast<std::size_t>(sqlite3_column_bytes(row, column)));
}

// SQLite's own names for the id of a row, of which a column takes the meaning away.
bool hides_ids(const std::string& name) {
  constexpr std::array kNames{"rowid", "oid", "_rowid_"};
  return std::any_of(kNames.begin(), kNames.end(),
                     [&name](const char* own) { return sqlite3_stricmp(own, name.c_str()) == 0; });
}

// A default as SQL writes it: 'text' or a number.
void take_default(const std::string& sql, ContentReader::Source& source) {
  if (sql.size() >= 2 && sql.front() == '\'' && sql.back() == '\'') {
    source.text = sql.substr(1, sql.size() - 2);
  } else {
    source.text = sql;
  }
  source.number = whole_number<std::int64_t>(*source.text);
}

// Days since 1970 in the Gregorian calendar.
std::int64_t days_of(std::int64_t year, unsigned month, unsigned day) {
  const std::int64_t from_march = month <= 2 ? year - 1 : year;
  const std::int64_t era = from_march / 400;
  const auto year_of_era = static_cast<unsigned>(from_march - era * 400);
  const unsigned day_of_year = (153 * (month > 2 ? month - 3 : month + 9) + 2) / 5 + day - 1;
  const unsigned day_of_era = year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 719468;
}

// "12-34-56" with any one separator: its numbers.
template <std::size_t Count>
bool take_numbers(std::string_view text, std::array<unsigned, Count>& numbers) {
  for (std::size_t i = 0; i < Count; ++i) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), numbers.at(i));
    if (error != std::errc()) {
      return false;
    }
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    if (i + 1 < Count) {
      if (text.empty()) {
        return false;
      }
      text.remove_prefix(1);
    }
  }
  return true;
}

}  // namespace

void Content::number(std::uint64_t value) {
  for (unsigned byte = 0; byte < sizeof value; ++byte) {
    bytes_ += static_cast<char>(value >> (8 * byte));
  }
}

void Content::integer(std::int64_t value) {
  bytes_ += 'i';
  number(static_cast<std::uint64_t>(value));
}

void Content::real(double value) {
  bytes_ += 'r';
  number(std::bit_cast<std::uint64_t>(value));
}

void Content::sized(char kind, std::string_view value) {
  bytes_ += kind;
  for (unsigned byte = 0; byte < sizeof(std::uint32_t); ++byte) {
    bytes_ += static_cast<char>(value.size() >> (8 * byte));
  }
  bytes_ += value;
}

void Content::foreign_column(std::string_view name) {
  bytes_ += kForeign;
  sized('c', name);
}

std::uint32_t time_key(std::int64_t seconds) {
  return static_cast<std::uint32_t>(std::clamp<std::int64_t>(seconds, 0, std::numeric_limits<std::uint32_t>::max()));
}

// What is not a date is placed by its beginning. A log orders by texts, so "---" is before all dates and "none" behind.
std::uint32_t time_key_of_no_date(std::string_view text) {
  constexpr std::string_view kFirst = "1970";
  constexpr std::string_view kBehind = "2106";
  if (text >= kBehind) {
    return std::numeric_limits<std::uint32_t>::max();
  }
  unsigned year = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + std::min(text.size(), kFirst.size()), year);
  const bool is_year = error == std::errc() && end == text.data() + kFirst.size();
  return text < kFirst || !is_year ? 0 : time_key(days_of(year, 1, 1) * kDay);
}

std::uint32_t time_key(std::string_view date, std::string_view time) {
  std::array<unsigned, 3> day{};
  std::array<unsigned, 3> clock{};
  constexpr unsigned kLastMonth = 12;
  constexpr unsigned kLastYear = 9999;
  if (!take_numbers(date, day) || day[1] < 1 || day[1] > kLastMonth || day[0] > kLastYear) {
    return time_key_of_no_date(date);
  }
  if (!take_numbers(time, clock)) {
    clock = {};
  }
  return time_key(days_of(day[0], day[1], day[2]) * kDay + clock[0] * kHour + clock[1] * kMinute + clock[2]);
}

ContentReader::ContentReader(Reader& reader, const Log& log) {
  // The longer form of table_info, which has computed columns, too.
  SqliteStatement info = reader.prepare(fmt::format("PRAGMA main.table_xinfo({})", log.table));
  while (reader.next(info)) {
    constexpr int kName = 1;
    constexpr int kDefault = 4;
    constexpr int kHidden = 6;
    Source source;
    source.name = info.text(kName);
    if (hides_ids(source.name)) {
      throw AlteredTable(
          fmt::format("the table {} has a column named {}, which hides the ids of its rows: it was "
                      "altered",
                      log.table, source.name));
    }
    const auto known = std::find_if(log.columns.begin(), log.columns.end(),
                                    [&source](const Column& column) { return source.name == column.name; });
    if (source.name == log.id) {
      source.is_id = true;
    } else if (known != log.columns.end()) {
      source.place = static_cast<std::size_t>(known - log.columns.begin());
      if (known->older != nullptr) {
        take_default(known->older, source);
      }
    } else if (info.integer(kHidden) != 0) {
      continue;  // computed from the others
    } else {
      source.null_is_absent = true;
      if (sqlite3_column_type(info.handle(), kDefault) != SQLITE_NULL) {
        take_default(info.text(kDefault), source);
      }
    }
    sources_.push_back(std::move(source));
  }
  // In the layout's order, wherever a migration has put a column, and the foreign ones behind it by their names.
  std::sort(sources_.begin(), sources_.end(), [](const Source& one, const Source& other) {
    constexpr std::size_t kBehind = std::numeric_limits<std::size_t>::max();
    const std::size_t place = one.place.value_or(kBehind);
    const std::size_t other_place = other.place.value_or(kBehind);
    return place != other_place ? place < other_place : one.name < other.name;
  });
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    const std::string& name = sources_[i].name;
    selected_ += fmt::format("{}t.{}", i == 0 ? "" : ", ", quoted_name(name));
    const int column = static_cast<int>(i) + 1;
    if (name == log.date) {
      date_ = column;
    } else if (log.time != nullptr && name == log.time) {
      time_ = column;
    }
  }
}

void ContentReader::append_text(const Source& source, std::string_view text, std::string& bytes) {
  if (source.text == text) {
    return;
  }
  Content content(bytes);
  source.place ? content.column(*source.place) : content.foreign_column(source.name);
  content.text(text);
}

void ContentReader::append_column(const Source& source, sqlite3_stmt* row, int column, std::string& bytes) {
  const int type = sqlite3_column_type(row, column);
  if (type == SQLITE_TEXT) {
    append_text(source, text_at(row, column), bytes);
    return;
  }
  if (source.is_id && type == SQLITE_INTEGER && sqlite3_column_int64(row, column) == sqlite3_column_int64(row, 0)) {
    return;
  }
  if ((type == SQLITE_INTEGER && source.number == sqlite3_column_int64(row, column)) ||
      (type == SQLITE_NULL && source.null_is_absent)) {
    return;
  }
  Content content(bytes);
  source.place ? content.column(*source.place) : content.foreign_column(source.name);
  if (type == SQLITE_INTEGER) {
    content.integer(sqlite3_column_int64(row, column));
  } else if (type == SQLITE_FLOAT) {
    content.real(sqlite3_column_double(row, column));
  } else if (type == SQLITE_BLOB) {
    content.blob(blob_at(row, column));
  } else {
    content.null();
  }
}

void ContentReader::append(const SqliteStatement& row, std::string& bytes) const {
  int column = 1;
  for (const Source& source : sources_) {
    append_column(source, row.handle(), column++, bytes);
  }
}

std::uint32_t ContentReader::time_of(const SqliteStatement& row) const {
  if (date_ == 0) {
    return 0;
  }
  if (time_ == 0) {
    return time_key(row.integer(date_));
  }
  return time_key(text_at(row.handle(), date_), text_at(row.handle(), time_));
}

}  // namespace annalctl::proof
