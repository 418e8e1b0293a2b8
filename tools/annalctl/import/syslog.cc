#include <algorithm>
#include <array>
#include <ctime>
#include <optional>
#include <string>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/import/formats.h"

namespace annalctl {

namespace {

constexpr std::array<std::string_view, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                   "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// 29 February comes back after eight years at the latest, across a century that skips it.
constexpr int kYearsBack = 8;

struct SeverityWord {
  std::string_view word;
  Severity severity;
};

constexpr std::array kSeverityWords{
    SeverityWord{"error", Severity::kError},      SeverityWord{"errors", Severity::kError},
    SeverityWord{"fatal", Severity::kError},      SeverityWord{"fail", Severity::kError},
    SeverityWord{"fails", Severity::kError},      SeverityWord{"failed", Severity::kError},
    SeverityWord{"failure", Severity::kError},    SeverityWord{"failures", Severity::kError},
    SeverityWord{"panic", Severity::kError},      SeverityWord{"critical", Severity::kError},
    SeverityWord{"warn", Severity::kWarning},     SeverityWord{"warning", Severity::kWarning},
    SeverityWord{"warnings", Severity::kWarning}, SeverityWord{"denied", Severity::kWarning},
    SeverityWord{"refused", Severity::kWarning},  SeverityWord{"invalid", Severity::kWarning},
    SeverityWord{"timeout", Severity::kWarning},
};

Severity severity_of(std::string_view text) {
  Severity worst = Severity::kInformation;
  std::string word;
  for (std::size_t i = 0; i <= text.size(); ++i) {
    if (i < text.size() && is_letter(text[i])) {
      word += lower(text[i]);
      continue;
    }
    for (const SeverityWord& known : kSeverityWords) {
      if (known.word == word) {
        worst = std::max(worst, known.severity);
      }
    }
    word.clear();
  }
  return worst;
}

// The word behind the first mark that stands at the beginning of a word, in any case of the letters.
std::string_view word_behind(std::string_view text, std::string_view mark) {
  const auto same = [](char left, char right) { return lower(left) == right; };
  for (const auto* from = text.begin();;) {
    const auto* const found = std::search(from, text.end(), mark.begin(), mark.end(), same);
    if (found == text.end()) {
      return {};
    }
    const auto place = static_cast<std::size_t>(found - text.begin());
    if (place == 0 || !is_letter(text[place - 1])) {
      const std::string_view rest = text.substr(place + mark.size());
      return rest.substr(0, rest.find_first_of(" ,;()[]\"'\t"));
    }
    from = found + 1;
  }
}

std::string_view address_in(std::string_view text) {
  for (const std::string_view mark : {"rhost=", "from "}) {
    const std::string_view word = word_behind(text, mark);
    std::string copy(word);
    if (!word.empty() && annal_checkip(copy.data()) == ANNAL_OK) {
      return word;
    }
  }
  return {};
}

std::string_view user_in(std::string_view text) {
  for (const std::string_view mark : {"user=", "invalid user ", "password for "}) {
    const std::string_view word = word_behind(text, mark);
    if (!word.empty()) {
      return word;
    }
  }
  return {};
}

std::string_view take_word(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const std::string_view word = text.substr(0, text.find(' '));
  text.remove_prefix(word.size());
  return word;
}

std::optional<int> month_of(std::string_view line) {
  const auto* const found = std::find(kMonths.begin(), kMonths.end(), line.substr(0, 3));
  if (found == kMonths.end()) {
    return {};
  }
  return static_cast<int>(found - kMonths.begin()) + 1;
}

// The day is padded with a blank: "Jun  4".
bool take_day(std::string_view& line, CalendarTime& time) {
  if (line.size() < 4 || line[0] != ' ' || (line[1] != ' ' && !is_digit(line[1])) || !is_digit(line[2])) {
    return false;
  }
  time.day = (line[1] == ' ' ? 0 : line[1] - '0') * 10 + (line[2] - '0');
  line.remove_prefix(3);
  if (line.front() != ' ') {
    return false;
  }
  line.remove_prefix(1);
  return true;
}

bool take_yearless(std::string_view& line, CalendarTime& time) {
  const std::optional<int> month = month_of(line);
  if (!month) {
    return false;
  }
  std::string_view rest = line.substr(3);
  time.month = *month;
  if (!take_day(rest, time) || !take_clock(rest, time)) {
    return false;
  }
  line = rest;
  return true;
}

std::optional<std::int64_t> latest_not_after(std::int64_t now, CalendarTime time) {
  const std::time_t seconds_now = now;
  std::tm fields{};
  localtime_r(&seconds_now, &fields);
  const int this_year = fields.tm_year + 1900;
  for (time.year = this_year; time.year >= this_year - kYearsBack; --time.year) {
    const auto seconds = local_seconds(time);
    if (seconds && *seconds <= now) {
      return seconds;
    }
  }
  return {};
}

std::int64_t take_time(std::string_view& line, std::int64_t now) {
  CalendarTime time{};
  std::optional<std::int64_t> seconds;
  if (take_yearless(line, time)) {
    seconds = latest_not_after(now, time);
  } else {
    seconds = take_iso_time(line);
  }
  if (!seconds) {
    throw Refusal("it does not begin with a time that exists");
  }
  return *seconds;
}

// Takes "(module)" or "[123]" off the end of a tag and returns what is inside.
std::string_view take_bracketed(std::string_view& tag, char open, char close) {
  const std::size_t begin = tag.rfind(open);
  if (tag.empty() || tag.back() != close || begin == std::string_view::npos || begin == 0) {
    return {};
  }
  const std::string_view inside = tag.substr(begin + 1, tag.size() - begin - 2);
  tag = tag.substr(0, begin);
  return inside;
}

// A line without a tag in front is all text.
void take_tag(std::string_view& line, LogLine& parsed) {
  std::string_view rest = line;
  std::string_view tag = take_word(rest);
  if (tag.size() < 2 || tag.back() != ':') {
    return;
  }
  tag.remove_suffix(1);
  line = rest;
  parsed.process = take_bracketed(tag, '[', ']');
  parsed.category = take_bracketed(tag, '(', ')');
  parsed.program = tag;
}

}  // namespace

bool begins_with_month(std::string_view line) {
  CalendarTime time{};
  return take_yearless(line, time);
}

LogLine parse_syslog(std::string_view line, std::int64_t now) {
  LogLine parsed;
  parsed.time = take_time(line, now);
  if (line.substr(0, 1) != " ") {
    throw Refusal("its time is not followed by a host");
  }
  parsed.host = take_word(line);
  if (parsed.host.empty()) {
    throw Refusal("its time is not followed by a host");
  }
  line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
  take_tag(line, parsed);
  if (line.substr(0, 1) == " ") {
    line.remove_prefix(1);
  }
  parsed.text = line;
  parsed.severity = severity_of(line);
  parsed.address = address_in(line);
  parsed.user = user_in(line);
  return parsed;
}

}  // namespace annalctl
