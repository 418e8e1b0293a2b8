// Parses syslog lines.
#include <algorithm>
#include <optional>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/line_fields.h"
#include "tools/annalctl/import/line_level.h"
#include "tools/annalctl/import/line_times.h"

namespace annalctl {

namespace {

std::string_view take_word(std::string_view& text) {
  text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
  const std::string_view word = text.substr(0, text.find(' '));
  text.remove_prefix(word.size());
  return word;
}

std::int64_t take_time(std::string_view& line, std::int64_t now) {
  std::optional<std::int64_t> seconds = take_yearless_time(line, now);
  if (!seconds) {
    seconds = take_iso_time(line);
  }
  if (!seconds) {
    throw Refusal("it does not begin with a time that exists");
  }
  return *seconds;
}

// "<34>", as lines have it on the way to a syslog daemon, and in files that keep it.
std::string_view take_priority(std::string_view& line) {
  const std::size_t end = line.find('>');
  if (line.substr(0, 1) != "<" || end == std::string_view::npos) {
    return {};
  }
  const std::string_view priority = line.substr(1, end - 1);
  line.remove_prefix(end + 1);
  return priority;
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

// A line without a tag is all text.
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

LogLine parse_syslog(std::string_view line, std::int64_t now) {
  LogLine parsed;
  const std::string_view priority = take_priority(line);
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
  if (priority.empty()) {
    set_level_by_words(parsed, line);
  } else {
    set_level_by_priority(parsed, priority);
  }
  parsed.address = address_in(line);
  parsed.user = user_in(line);
  return parsed;
}

}  // namespace annalctl
