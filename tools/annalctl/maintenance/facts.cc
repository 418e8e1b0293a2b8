// Collects facts about a log in one short transaction.
#include "tools/annalctl/maintenance/facts.h"

#include <fmt/format.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <array>
#include <cstdlib>

#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/log/diagnosis.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/query/listing.h"
#include "tools/annalctl/rescue/blueprint.h"
#include "tools/annalctl/rescue/layout.h"
#include "tools/annalctl/rescue/sql_tokens.h"

namespace annalctl {

namespace {

using Json = nlohmann::ordered_json;

std::string text_of(Reader& reader, const std::string& statement) {
  SqliteStatement query = reader.prepare(statement);
  const bool there = reader.next(query);
  return there ? query.text(0) : std::string();
}

std::int64_t number_of(Reader& reader, const std::string& statement) {
  return whole_number<std::int64_t>(text_of(reader, statement)).value_or(0);
}

// The earliest or the latest, by the index of the date.
std::string time_of(Reader& reader, const Log& log, const char* extreme) {
  std::string date = text_of(reader, fmt::format("SELECT {}({}) FROM {}", extreme, log.date, reader.table()));
  if (date.empty()) {
    return {};
  }
  if (log.time == nullptr) {
    const auto seconds = whole_number<std::int64_t>(date);
    if (!seconds) {
      return date;
    }
    try {
      const DateAndTime moment = date_and_time(*seconds);
      return moment.date + " " + moment.time;
    } catch (const Refusal&) {
      return "@" + date;
    }
  }
  SqliteStatement time =
      reader.prepare(fmt::format("SELECT {}({}) FROM {} WHERE {} = ?", extreme, log.time, reader.table(), log.date));
  time.bind(1, date);
  return reader.next(time) ? date + " " + time.text(0) : date;
}

std::string name_of_level(const Log& log, const std::string& number) {
  const auto level = whole_number<std::size_t>(number);
  return level && *level < log.levels.size() ? std::string(log.levels[*level]) : number;
}

void read_levels(Reader& reader, const Log& log, LogFacts& facts) {
  for (const char* name : log.levels) {
    facts.levels.emplace_back(name, 0);
  }
  SqliteStatement levels =
      reader.prepare(fmt::format("SELECT {0}, count(*) FROM {1} GROUP BY {0}", log.level, reader.table()));
  while (reader.next(levels)) {
    facts.entries += levels.integer(1);
    const std::string name = name_of_level(log, levels.text(0));
    bool known = false;
    for (auto& [level, count] : facts.levels) {
      if (level == name) {
        count += levels.integer(1);
        known = true;
      }
    }
    if (!known) {
      facts.levels.emplace_back(name.empty() ? "none" : name, levels.integer(1));
    }
  }
}

// The first two numbers of its text are the limit and the batch.
RowLimit numbers_in(const std::string& trigger) {
  RowLimit found;
  std::array<int*, 2> places{&found.limit, &found.batch};
  std::size_t next = 0;
  for (const Token& token : tokens_of(trigger)) {
    if (token.kind == Token::Kind::kNumber && next < places.size()) {
      *places.at(next++) = whole_number<int>(token.text).value_or(0);
    }
  }
  return found;
}

// What looks wrong without a check.
std::string suspicion_of(Reader& reader, const LogFacts& facts) {
  const std::int64_t pages = number_of(reader, "PRAGMA main.page_count");
  const std::int64_t page_size = number_of(reader, "PRAGMA main.page_size");
  if (pages * page_size != facts.size) {
    return fmt::format("the file has {} bytes, and should have {}", facts.size, pages * page_size);
  }
  if (!facts.limit) {
    return "it lacks the library's row limit";
  }
  if (facts.entries > facts.limit->limit) {
    return "it holds more than its limit";
  }
  return {};
}

void read_disk(const char* path, LogFacts& facts) {
  struct stat status {};
  if (stat(path, &status) == 0) {
    facts.size = status.st_size;
  }
  struct statvfs system {};
  if (statvfs(path, &system) == 0) {
    facts.disk_free = static_cast<std::int64_t>((geteuid() == 0 ? system.f_bfree : system.f_bavail) * system.f_frsize);
  }
}

void read_log(const Log& log, LogFacts& facts) {
  Reader reader(log);
  {
    const Reader::Turn turn(reader);
    read_disk(log.path, facts);
    read_levels(reader, log, facts);
    facts.oldest = time_of(reader, log, "min");
    facts.newest = time_of(reader, log, "max");
    facts.in_use = bytes_in_use(reader);
  }
  facts.limit = row_limit_of(reader, log);
  facts.suspicion = suspicion_of(reader, facts);
}

}  // namespace

std::optional<RowLimit> row_limit_of(Reader& reader, const Log& log) {
  const std::string name = trigger_of(log);
  const std::string found = text_of(
      reader,
      fmt::format("SELECT sql FROM main.sqlite_master WHERE type = 'trigger' AND name = '{}' COLLATE NOCASE", name));
  const std::optional<Blueprint> blueprint = blueprint_of(log, log.usual_limit, 1);
  if (found.empty() || !blueprint) {
    return {};
  }
  for (const SchemaObject& made : blueprint->objects) {
    if (made.type == "trigger" && is_same_trigger(found, made.text)) {
      return numbers_in(found);
    }
  }
  return {};
}

std::int64_t bytes_in_use(Reader& reader) {
  return (number_of(reader, "PRAGMA main.page_count") - number_of(reader, "PRAGMA main.freelist_count")) *
         number_of(reader, "PRAGMA main.page_size");
}

LogFacts facts_of(const Log& log) {
  LogFacts facts;
  facts.log = log.name;
  facts.file = log.path;
  if (const auto obstacle = file_obstacle(log, Purpose::kReading)) {
    facts.failure = *obstacle;
    return facts;
  }
  const Call call{log, "read the log", Purpose::kReading};
  try {
    read_log(log, facts);
  } catch (const ReadFailure& failure) {
    facts.failure = failure_text(call, failure);
  }
  return facts;
}

Json json_of(const LogFacts& facts) {
  Json json{{"log", facts.log}, {"file", facts.file}};
  if (!facts.failure.empty()) {
    json["failure"] = facts.failure;
    return json;
  }
  json["entries"] = facts.entries;
  Json& levels = json["levels"] = Json::object();
  for (const auto& [name, count] : facts.levels) {
    levels[name] = count;
  }
  const auto or_null = [](const std::string& text) { return text.empty() ? Json(nullptr) : Json(text); };
  json["oldest"] = or_null(facts.oldest);
  json["newest"] = or_null(facts.newest);
  json["size"] = facts.size;
  json["in_use"] = facts.in_use;
  json["disk_free"] = facts.disk_free;
  json["limit"] = facts.limit ? Json(facts.limit->limit) : Json(nullptr);
  json["batch"] = facts.limit ? Json(facts.limit->batch) : Json(nullptr);
  json["suspicion"] = or_null(facts.suspicion);
  return json;
}

LogFacts facts_from(const Json& json) {
  const auto text = [&json](const char* name) {
    return json.contains(name) && json[name].is_string() ? json[name].get<std::string>() : std::string();
  };
  const auto number = [&json](const char* name) { return json.value(name, std::int64_t{0}); };
  LogFacts facts;
  facts.log = text("log");
  facts.file = text("file");
  facts.failure = text("failure");
  if (!facts.failure.empty()) {
    return facts;
  }
  facts.entries = number("entries");
  for (const auto& [name, count] : json.at("levels").items()) {
    facts.levels.emplace_back(name, count.get<std::int64_t>());
  }
  facts.oldest = text("oldest");
  facts.newest = text("newest");
  facts.size = number("size");
  facts.in_use = number("in_use");
  facts.disk_free = number("disk_free");
  if (json.at("limit").is_number()) {
    facts.limit = RowLimit{json["limit"].get<int>(), json["batch"].get<int>()};
  }
  facts.suspicion = text("suspicion");
  return facts;
}

}  // namespace annalctl
