// Turns rows into records with clean texts and valid dates, and computes an entry's digest.
#include "tools/export/page.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <ctime>

#include "tools/export/clean_text.h"
#include "tools/export/digest.h"

namespace exporter {

namespace {

constexpr std::string_view kNoDate = "1970-01-01";
constexpr std::string_view kNoTime = "00:00:00";

// The library writes this form; a text that something else has stored may be anything.
bool has_form(std::string_view text, std::string_view form) {
  return text.size() == form.size() && std::equal(text.begin(), text.end(), form.begin(), [](char c, char wanted) {
           return wanted == '0' ? c >= '0' && c <= '9' : c == wanted;
         });
}

int number_at(std::string_view text, std::size_t place, std::size_t digits) {
  int number = 0;
  for (const char c : text.substr(place, digits)) {
    number = number * 10 + (c - '0');
  }
  return number;
}

bool is_date(std::string_view text) {
  if (!has_form(text, "0000-00-00")) {
    return false;
  }
  constexpr int kDays[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const int year = number_at(text, 0, 4);
  const int month = number_at(text, 5, 2);
  const int day = number_at(text, 8, 2);
  if (year == 0 || month < 1 || month > 12 || day < 1 || day > kDays[month - 1]) {
    return false;
  }
  const bool leap = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
  return month != 2 || day != 29 || leap;
}

bool is_time(std::string_view text) {
  return has_form(text, "00:00:00") && number_at(text, 0, 2) < 24 && number_at(text, 3, 2) < 60 &&
         number_at(text, 6, 2) < 60;
}

struct DateAndTime {
  std::string date{kNoDate};
  std::string time{kNoTime};
};

// In UTC, so that one moment has the same date wherever it is sent from.
DateAndTime in_utc(std::int64_t seconds) {
  const std::time_t moment = seconds;
  std::tm parts{};
  if (gmtime_r(&moment, &parts) == nullptr) {
    return {};
  }
  DateAndTime both{fmt::format("{:%Y-%m-%d}", parts), fmt::format("{:%H:%M:%S}", parts)};
  return is_date(both.date) ? both : DateAndTime{};
}

std::string_view raw_text(const annalctl::SqliteStatement& row, int column) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(row.handle(), column));
  return text == nullptr ? std::string_view()
                         : std::string_view(text, static_cast<std::size_t>(sqlite3_column_bytes(row.handle(), column)));
}

}  // namespace

void Page::clear() {
  texts_.clear();
  bytes_ = 0;
  fields_.clear();
  ranges_.clear();
  records_.clear();
}

std::string_view Page::keep(std::string_view text) {
  constexpr std::size_t kChunk = 65536;
  if (texts_.empty() || texts_.back().capacity() - texts_.back().size() < text.size()) {
    texts_.emplace_back().reserve(std::max(kChunk, text.size()));
  }
  std::string& chunk = texts_.back();
  const std::size_t begin = chunk.size();
  chunk += text;
  bytes_ += text.size();
  return std::string_view(chunk).substr(begin);
}

std::string_view Page::keep_clean(std::string_view text) {
  return is_clean(text) ? keep(text) : keep(cleaned(text));
}

Record& Page::add_without_row(Kind kind, std::int64_t id, std::int64_t seconds) {
  const DateAndTime moment = in_utc(seconds);
  ranges_.push_back({fields_.size(), 0});
  Record& record = records_.emplace_back(Record{.kind = kind, .id = id});
  record.seconds = seconds;
  record.date = keep(moment.date);
  record.time = keep(moment.time);
  return record;
}

void Page::add_gap(std::int64_t first, std::int64_t count) {
  add_without_row(Kind::kGap, first, std::time(nullptr)).count = count;
}

void Page::add_redaction(std::int64_t id, std::int64_t seconds) {
  add_without_row(Kind::kRedaction, id, seconds).seconds.reset();
}

void Page::add_head(std::int64_t number, std::int64_t sealed, std::string_view chain, std::string_view json) {
  Record& head = add_without_row(Kind::kHead, number, sealed);
  head.chain = keep(chain);
  head.head = keep(json);
}

Field Page::field_of(const annalctl::SqliteStatement& row, int column, const LogShape& shape) {
  const auto place = static_cast<std::size_t>(column);
  Field field;
  field.name = place < shape.log.columns.size() ? std::string_view(shape.log.columns[place].name)
                                                : keep(sqlite3_column_name(row.handle(), column));
  switch (sqlite3_column_type(row.handle(), column)) {
    case SQLITE_NULL:
      break;
    case SQLITE_INTEGER:
      field.value = row.integer(column);
      break;
    default:
      field.value = keep_clean(raw_text(row, column));
  }
  return field;
}

std::string_view Page::text_in_last(std::size_t place) const {
  const Range& range = ranges_.back();
  const auto* const text =
      place < range.count ? std::get_if<std::string_view>(&fields_[range.begin + place].value) : nullptr;
  return text == nullptr ? std::string_view() : *text;
}

void Page::add_entry(const annalctl::SqliteStatement& row, const LogShape& shape, Kind kind) {
  const int columns = sqlite3_column_count(row.handle());
  ranges_.push_back({fields_.size(), static_cast<std::size_t>(columns)});
  std::vector<const char*> values;
  for (int column = 0; column < columns; ++column) {
    fields_.push_back(field_of(row, column, shape));
    // A number becomes a text here only after it was taken.
    values.push_back(raw_text(row, column).data());
  }

  Record entry{.kind = kind};
  entry.id = row.integer(0);
  entry.seconds = shape.entry.moment(values);
  if (shape.log.time == nullptr) {
    const DateAndTime moment = entry.seconds ? in_utc(*entry.seconds) : DateAndTime{};
    entry.date = keep(moment.date);
    entry.time = keep(moment.time);
  } else {
    entry.date = text_in_last(shape.entry.date);
    entry.time = text_in_last(shape.entry.time);
  }
  entry.date = is_date(entry.date) ? entry.date : kNoDate;
  entry.time = is_time(entry.time) ? entry.time : kNoTime;
  const Level level = level_of(shape, shape.level < values.size() ? values[shape.level] : nullptr);
  entry.severity = level.severity;
  entry.level = keep_clean(level.name);
  entry.message = text_in_last(shape.message);
  if (entry.message.empty()) {
    entry.message = text_in_last(shape.stead);
  }
  records_.push_back(entry);
}

std::span<const Record> Page::records() {
  for (std::size_t i = 0; i < records_.size(); ++i) {
    records_[i].fields = std::span(fields_).subspan(ranges_[i].begin, ranges_[i].count);
  }
  return records_;
}

std::string digest_of(const Record& entry, const LogShape& shape) {
  std::string bytes;
  for (const Field& field : entry.fields.first(std::min(entry.fields.size(), shape.log.earliest_columns))) {
    // What ends a text is in none.
    if (const auto* const number = std::get_if<std::int64_t>(&field.value)) {
      bytes += fmt::format("{}", *number);
    } else if (const auto* const text = std::get_if<std::string_view>(&field.value)) {
      bytes += *text;
    }
    bytes += '\0';
  }
  return digest_of(bytes);
}

}  // namespace exporter
