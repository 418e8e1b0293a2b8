// Parses one JSON object into its members.
#include "tools/annalctl/import/json_lines.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/import/line_fields.h"
#include "tools/annalctl/output/output.h"

namespace annalctl {

namespace {

using Json = nlohmann::ordered_json;

constexpr char kJournalTime[] = "__REALTIME_TIMESTAMP";

Json parse(std::string_view line) {
  Json object;
  try {
    object = Json::parse(line.begin(), line.end());
  } catch (const Json::parse_error& error) {
    throw Refusal(fmt::format("it is not JSON from byte {} on", error.byte));
  } catch (const Json::exception&) {
    throw Refusal("it holds a number that is too large");
  }
  if (!object.is_object()) {
    throw Refusal("it is not a JSON object");
  }
  return object;
}

Members members_of(const Json& object) {
  Members members;
  for (const auto& [key, value] : object.items()) {
    if (key == kTimestamp || key == kLevel || key == kLog) {
      continue;  // what 'list' adds to the columns
    }
    if (value.is_string()) {
      members.push_back({key, value.get<std::string>()});
    } else if (value.is_number()) {
      members.push_back({key, value.dump()});
    } else if (value.is_null()) {
      members.push_back({key, {}, true});
    } else {
      throw Refusal(fmt::format("'{}' is neither a text nor a number", key));
    }
  }
  return members;
}

struct JournalField {
  const char* key;
  const char* field;
};

// Later ones win: what the program says about itself over what the system knows.
constexpr std::array kJournalFields{
    JournalField{kJournalTime, "time"},
    JournalField{"_SOURCE_REALTIME_TIMESTAMP", "time"},
    JournalField{"_HOSTNAME", "host"},
    JournalField{"_COMM", "program"},
    JournalField{"SYSLOG_IDENTIFIER", "program"},
    JournalField{"SYSLOG_PID", "pid"},
    JournalField{"_PID", "pid"},
    JournalField{"_SYSTEMD_UNIT", "category"},
    JournalField{"PRIORITY", "level"},
    JournalField{"MESSAGE", "message"},
};

// A text that is not valid UTF-8, or has control characters, is an array of its bytes.
std::string journal_text(const Json& value) {
  if (value.is_string()) {
    return value.get<std::string>();
  }
  if (value.is_number()) {
    return value.dump();
  }
  std::string bytes;
  for (const Json& byte : value) {
    constexpr unsigned kMost = 255;
    if (!byte.is_number_unsigned() || byte.get<unsigned>() > kMost) {
      throw Refusal("its message is neither a text nor bytes");
    }
    bytes += static_cast<char>(byte.get<unsigned>());
  }
  return bytes;
}

LogLine journal_line(const Json& object) {
  static const std::string known_times;
  LineFields fields(0, known_times);
  for (const JournalField& field : kJournalFields) {
    const auto found = object.find(field.key);
    if (found != object.end() && !found->is_null()) {
      const std::string text = journal_text(*found);
      if (text.find('\0') != std::string::npos) {
        throw Refusal("it holds a NUL character");
      }
      fields.set(field.field, text);
    }
  }
  return fields.finish();
}

}  // namespace

Members parse_json_line(std::string_view line) {
  return members_of(parse(line));
}

std::variant<LogLine, Members> parse_json_entry(std::string_view line) {
  const Json object = parse(line);
  if (object.contains(kJournalTime)) {
    return journal_line(object);
  }
  return members_of(object);
}

}  // namespace annalctl
