// Maps each log's columns, filters and levels to those that all logs share on the page.
#include "tools/web/parts.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/notice/model.h"

namespace annal_web {

namespace {

using annalctl::LogFilters;
using annalctl::Match;
using annalctl::TextFilter;
using annalctl::TimeColumns;

// A file operation is no application's.
constexpr char kNone[] = "''";
constexpr char kPaths[] =
    "CASE WHEN coalesce(event_oldfilepath, '') IN ('', '---') THEN event_filepath "
    "ELSE event_oldfilepath || ' → ' || event_filepath END";
// What the level of a notice is to the other logs.
constexpr char kNoticeLevel[] = "CASE WHEN severity <= 3 THEN 2 WHEN severity = 4 THEN 1 ELSE 0 END";

constexpr std::array kEventTexts{
    TextFilter{"--text", {"event_desc"}, "message"},
    TextFilter{"--grep", {"event_desc"}, "message", Match::kExpression},
    TextFilter{"--user", {"event_user"}, "user", Match::kEquals},
    TextFilter{"--ip", {"event_ip"}, "address", Match::kEquals},
    TextFilter{"--app", {"event_app_name"}, "application", Match::kEquals},
    TextFilter{"--computer", {"event_comp"}, "computer", Match::kEquals},
};
constexpr std::array kConnTexts{
    TextFilter{"--text", {"conn_res"}, "resource"},
    TextFilter{"--grep", {"conn_res"}, "resource", Match::kExpression},
    TextFilter{"--user", {"conn_user"}, "user", Match::kEquals},
    TextFilter{"--ip", {"conn_ip"}, "address", Match::kEquals},
    TextFilter{"--app", {"conn_app"}, "application", Match::kEquals},
    TextFilter{"--computer", {"conn_comp"}, "computer", Match::kEquals},
};
constexpr std::array kFileOpTexts{
    TextFilter{"--text", {"event_filepath", "event_oldfilepath", "event_desc"}, "paths or the description"},
    TextFilter{"--grep",
               {"event_filepath", "event_oldfilepath", "event_desc"},
               "paths or the description",
               Match::kExpression},
    TextFilter{"--user", {"event_user"}, "user", Match::kEquals},
    TextFilter{"--ip", {"event_ip"}, "address", Match::kEquals},
    TextFilter{"--app", {kNone}, "application", Match::kEquals},
    TextFilter{"--computer", {"event_comp"}, "computer", Match::kEquals},
};
constexpr std::array kNoticeTexts{
    TextFilter{"--text", {"\"desc\"", "title"}, "description or the title"},
    TextFilter{"--grep", {"\"desc\"", "title"}, "description or the title", Match::kExpression},
    TextFilter{"--user", {"user"}, "user", Match::kEquals},
    TextFilter{"--ip", {"ip"}, "address", Match::kEquals},
    TextFilter{"--app", {"serviceName"}, "service", Match::kEquals},
    TextFilter{"--computer", {"client"}, "client", Match::kEquals},
};

constexpr TimeColumns kEventTimes{"event_date", "event_time", nullptr};
constexpr TimeColumns kConnTimes{"conn_date", "conn_time", nullptr};
constexpr TimeColumns kNoticeTimes{nullptr, nullptr, "time"};

Grade grade_of_level(std::int64_t level) {
  constexpr std::int64_t kWarningLevel = 1;
  constexpr std::int64_t kErrorLevel = 2;
  return level == kErrorLevel ? Grade::kError : level == kWarningLevel ? Grade::kWarning : Grade::kInformation;
}

Grade grade_of_severity(std::int64_t severity) {
  constexpr std::int64_t kError = 3;
  constexpr std::int64_t kWarning = 4;
  return severity <= kError ? Grade::kError : severity == kWarning ? Grade::kWarning : Grade::kInformation;
}

const std::array<Part, 4>& all() {
  const auto of_level = [](const char* column, const TimeColumns& times, std::span<const TextFilter> texts) {
    return LogFilters{{"--level", column, annalctl::kLevels, true}, times, texts, {}};
  };
  static const LogFilters kEvent = of_level("event_type", kEventTimes, kEventTexts);
  static const LogFilters kConn = of_level("conn_type", kConnTimes, kConnTexts);
  static const LogFilters kFileOp = of_level("event_type", kEventTimes, kFileOpTexts);
  static const LogFilters kNotice = of_level(kNoticeLevel, kNoticeTimes, kNoticeTexts);
  static const LogFilters kNoticeAlone{
      {"--level", "severity", annalctl::notice::kSeverities, false}, kNoticeTimes, kNoticeTexts, {}};
  static const std::array<Part, 4> kParts{
      Part{&annalctl::event::kLog, &annalctl::event::kEntry, annalctl::event::kListTable, "Events", "event_user",
           "event_ip", "event_comp", "event_app_name", "event_desc", grade_of_level, kEvent, kEvent},
      Part{&annalctl::conn::kLog, &annalctl::conn::kEntry, annalctl::conn::kListTable, "Connections", "conn_user",
           "conn_ip", "conn_comp", "conn_app", "conn_res", grade_of_level, kConn, kConn},
      Part{&annalctl::fileop::kLog, &annalctl::fileop::kEntry, annalctl::fileop::kListTable, "File operations",
           "event_user", "event_ip", "event_comp", kNone, kPaths, grade_of_level, kFileOp, kFileOp},
      Part{&annalctl::notice::kLog, &annalctl::notice::kEntry, annalctl::notice::kListTable, "Notices", "user", "ip",
           "client", "serviceName", "\"desc\"", grade_of_severity, kNotice, kNoticeAlone},
  };
  return kParts;
}

}  // namespace

std::span<const Part> parts() {
  return all();
}

const Part* part_named(const std::string& name) {
  const auto* const part =
      std::find_if(all().begin(), all().end(), [&name](const Part& one) { return name == one.log->name; });
  return part == all().end() ? nullptr : part;
}

std::size_t place_of(const Part& part) {
  return static_cast<std::size_t>(&part - all().data());
}

void use_file_operations(const std::string& file) {
  if (!file.empty()) {
    annalctl::fileop::use_file(file);
  }
}

bool is_configured(const Part& part) {
  return *part.log->path != '\0';
}

std::string level_name(const Part& part, std::int64_t level) {
  const auto place = static_cast<std::size_t>(level);
  return level >= 0 && place < part.log->levels.size() ? part.log->levels[place] : fmt::to_string(level);
}

const char* grade_name(Grade grade) {
  return annalctl::kLevelNames.at(static_cast<std::size_t>(grade));
}

}  // namespace annal_web
