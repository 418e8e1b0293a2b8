// The metrics as data, and their text format.
#include "tools/annalctl/maintenance/prometheus.h"

#include <fmt/format.h>

#include <array>
#include <optional>

#include "tools/annalctl/arguments/time_text.h"

namespace annalctl {

namespace {

using Value = std::optional<std::int64_t>;

struct Metric {
  const char* name;
  const char* help;
  Value (*of)(const LogFacts& facts);  // nothing: the log has no such value
};

Value seconds_of(const std::string& time) {
  return time.empty() ? Value() : parse_time(time);
}

bool is_read(const LogFacts& facts) {
  return facts.failure.empty();
}

constexpr std::array kMetrics{
    Metric{"annal_log_up", "Whether the log could be read.",
           [](const LogFacts& facts) { return Value(is_read(facts) ? 1 : 0); }},
    Metric{"annal_log_suspect", "Whether something about the log should be looked into.",
           [](const LogFacts& facts) { return is_read(facts) ? Value(facts.suspicion.empty() ? 0 : 1) : Value(); }},
    Metric{"annal_log_oldest_timestamp_seconds", "The time of the oldest entry.",
           [](const LogFacts& facts) { return seconds_of(facts.oldest); }},
    Metric{"annal_log_newest_timestamp_seconds", "The time of the newest entry.",
           [](const LogFacts& facts) { return seconds_of(facts.newest); }},
    Metric{"annal_log_size_bytes", "The size of the log's file.",
           [](const LogFacts& facts) { return is_read(facts) ? Value(facts.size) : Value(); }},
    Metric{"annal_log_used_bytes", "How much of the file holds something.",
           [](const LogFacts& facts) { return is_read(facts) ? Value(facts.in_use) : Value(); }},
    Metric{"annal_log_filesystem_free_bytes", "Free room on the log's file system.",
           [](const LogFacts& facts) { return is_read(facts) ? Value(facts.disk_free) : Value(); }},
    Metric{"annal_log_limit_entries", "How many entries the log keeps at most.",
           [](const LogFacts& facts) { return facts.limit ? Value(facts.limit->limit) : Value(); }},
    Metric{"annal_log_limit_batch_entries", "How many of the oldest entries a full log drops at once.",
           [](const LogFacts& facts) { return facts.limit ? Value(facts.limit->batch) : Value(); }},
};

constexpr char kEntries[] = "annal_log_entries";

std::string escaped(const std::string& value) {
  std::string text;
  for (const char c : value) {
    if (c == '\n') {
      text += "\\n";
      continue;
    }
    if (c == '\\' || c == '"') {
      text += '\\';
    }
    text += c;
  }
  return text;
}

std::string labels_of(const LogFacts& facts) {
  return fmt::format("log=\"{}\",file=\"{}\"", escaped(facts.log), escaped(facts.file));
}

std::string head(const char* name, const char* help) {
  return fmt::format("# HELP {0} {1}\n# TYPE {0} gauge\n", name, help);
}

}  // namespace

std::string prometheus_text(const std::vector<LogFacts>& all) {
  std::string text;
  for (const Metric& metric : kMetrics) {
    text += head(metric.name, metric.help);
    for (const LogFacts& facts : all) {
      if (const Value value = metric.of(facts)) {
        text += fmt::format("{}{{{}}} {}\n", metric.name, labels_of(facts), *value);
      }
    }
  }
  text += head(kEntries, "The entries of the log, by level.");
  for (const LogFacts& facts : all) {
    for (const auto& [level, count] : facts.levels) {
      text += fmt::format("{}{{{},level=\"{}\"}} {}\n", kEntries, labels_of(facts), escaped(level), count);
    }
  }
  return text;
}

}  // namespace annalctl
