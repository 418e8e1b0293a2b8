// Gathers each sink's state, lag and last error, and prints them as a table, JSON Lines or metrics.
#include "tools/export/status.h"

#include <fmt/format.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <nlohmann/json.hpp>
#include <optional>
#include <vector>

#include "tools/annalctl/base/moment.h"
#include "tools/annalctl/base/printable.h"
#include "tools/export/activity.h"
#include "tools/export/log_reader.h"
#include "tools/export/state.h"

namespace exporter {

namespace {

using Json = nlohmann::ordered_json;

struct LogStatus {
  std::string sink;
  std::string log;
  State state;
  bool running = false;
  double rate = 0;  // of the sink
  bool log_there = false;
  std::int64_t lag_entries = 0;  // ids that are not done with
  std::int64_t lag_seconds = 0;  // the age of the oldest entry that is not
  std::string error{};           // the last one
  std::int64_t error_time = 0;
  bool lasting = false;
};

void look_at_log(const SourceLog& log, LogStatus& status) {
  LogReader reader(log);
  Page page;
  State state = status.state;
  Reading reading = reader.read(state, 2, page);
  if (reading.another) {
    state = {};
    reading = reader.read(state, 2, page);
  }
  status.log_there = reading.there;
  status.lag_entries = std::max<std::int64_t>(reading.highest - state.position, 0);
  for (const Record& record : page.records()) {
    if (record.kind == Kind::kEntry && record.seconds) {
      status.lag_seconds = std::max<std::int64_t>(std::time(nullptr) - *record.seconds, 0);
      break;
    }
  }
}

void take_error(const std::optional<Activity::Error>& error, LogStatus& status) {
  if (error && (status.error.empty() || (error->lasting && !status.lasting) ||
                (error->lasting == status.lasting && error->time > status.error_time))) {
    status.error = error->text;
    status.error_time = error->time;
    status.lasting = error->lasting;
  }
}

LogStatus status_of(const Configuration& configuration, const ConfiguredSink& sink, const SourceLog& log) {
  LogStatus status{.sink = sink.name, .log = log.name(), .state = {}};
  const auto now = std::time(nullptr);
  if (const std::optional<Activity> activity = load_activity(configuration.state_folder, sink.name)) {
    // A process of another user cannot be signalled, and is there all the same.
    status.running = kill(activity->process, 0) == 0 || errno == EPERM;
    status.rate = status.running ? activity->rate : 0;
    take_error(activity->error, status);
    const auto found = activity->log_errors.find(log.name());
    if (found != activity->log_errors.end()) {
      take_error(found->second, status);
    }
    status.lasting = status.lasting && status.running;
  }
  try {
    status.state =
        load_state(configuration.state_folder, configuration.appliance, sink.name, log.name()).value_or(State{});
    look_at_log(log, status);
  } catch (const std::runtime_error& failure) {
    take_error(Activity::Error{.text = failure.what(), .time = now, .lasting = true}, status);
  }
  return status;
}

std::string time_text(std::int64_t seconds) {
  return seconds == 0 ? std::string() : annalctl::iso_text(seconds, annalctl::Zone::kLocal).value_or("");
}

std::string json_lines(const std::vector<LogStatus>& all) {
  std::string text;
  for (const LogStatus& one : all) {
    Json json = {{"sink", one.sink},
                 {"log", one.log},
                 {"running", one.running},
                 {"log_there", one.log_there},
                 {"generation", one.state.generation},
                 {"position", one.state.position},
                 {"lag_entries", one.lag_entries},
                 {"lag_seconds", one.lag_seconds},
                 {"rate", one.rate},
                 {"sent", one.state.sent},
                 {"missing", one.state.missing},
                 {"refused", one.state.refused}};
    json["saved"] = one.state.saved == 0 ? Json(nullptr) : Json(time_text(one.state.saved));
    json["error"] = one.error.empty()
                        ? Json(nullptr)
                        : Json{{"text", one.error}, {"time", time_text(one.error_time)}, {"lasting", one.lasting}};
    text += json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
  }
  return text;
}

std::string label_value(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\\' || c == '"') {
      escaped += '\\';
    }
    escaped += c;
  }
  return escaped;
}

struct Metric {
  const char* name;
  const char* type;
  const char* help;
  double (*value)(const LogStatus&);
};

constexpr Metric kMetrics[] = {
    {"annal_export_running", "gauge", "Whether the exporter runs.",
     [](const LogStatus& one) { return one.running ? 1.0 : 0.0; }},
    {"annal_export_generation", "gauge", "How often the log was created.",
     [](const LogStatus& one) { return static_cast<double>(one.state.generation); }},
    {"annal_export_position", "gauge", "The id up to which all entries are done with.",
     [](const LogStatus& one) { return static_cast<double>(one.state.position); }},
    {"annal_export_lag_entries", "gauge", "Entries that were not sent yet.",
     [](const LogStatus& one) { return static_cast<double>(one.lag_entries); }},
    {"annal_export_lag_seconds", "gauge", "Age of the oldest entry that was not sent yet.",
     [](const LogStatus& one) { return static_cast<double>(one.lag_seconds); }},
    {"annal_export_rate", "gauge", "Entries of all the sink's logs a second, of late.",
     [](const LogStatus& one) { return one.rate; }},
    {"annal_export_sent_total", "counter", "Entries that the receiver acknowledged.",
     [](const LogStatus& one) { return static_cast<double>(one.state.sent); }},
    {"annal_export_missing_total", "counter", "Entries that were deleted before they were sent.",
     [](const LogStatus& one) { return static_cast<double>(one.state.missing); }},
    {"annal_export_refused_total", "counter", "Entries that the receiver refused for good.",
     [](const LogStatus& one) { return static_cast<double>(one.state.refused); }},
    {"annal_export_failing", "gauge", "Whether an error keeps entries from being sent.",
     [](const LogStatus& one) { return one.lasting ? 1.0 : 0.0; }},
};

std::string prometheus(const std::vector<LogStatus>& all) {
  std::string text;
  for (const Metric& metric : kMetrics) {
    text += fmt::format("# HELP {0} {1}\n# TYPE {0} {2}\n", metric.name, metric.help, metric.type);
    for (const LogStatus& one : all) {
      text += fmt::format("{}{{sink=\"{}\",log=\"{}\"}} {}\n", metric.name, label_value(one.sink), label_value(one.log),
                          metric.value(one));
    }
  }
  return text;
}

std::string table(const std::vector<LogStatus>& all) {
  std::string text = fmt::format("{:<16}  {:<6}  {:>4}  {:>12}  {:>10}  {:>10}  {:>9}  {:>8}  {:>8}  {}\n", "SINK",
                                 "LOG", "GEN", "POSITION", "BEHIND", "SECONDS", "RATE", "MISSING", "REFUSED", "STATE");
  for (const LogStatus& one : all) {
    const char* const condition = one.lasting           ? "fails"
                                  : !one.log_there      ? "no log"
                                  : !one.running        ? "stopped"
                                  : one.lag_entries > 0 ? "behind"
                                                        : "up to date";
    text += fmt::format("{:<16}  {:<6}  {:>4}  {:>12}  {:>10}  {:>10}  {:>7.0f}/s  {:>8}  {:>8}  {}\n", one.sink,
                        one.log, one.state.generation, one.state.position, one.lag_entries, one.lag_seconds, one.rate,
                        one.state.missing, one.state.refused, condition);
  }
  std::string said;
  for (const LogStatus& one : all) {
    if (!one.error.empty() && one.error != said) {
      said = one.error;
      text += fmt::format("{}{}: {} ({})\n", one.lasting ? "" : "earlier: ", one.sink, annalctl::printable(one.error),
                          time_text(one.error_time));
    }
  }
  return text;
}

}  // namespace

std::string status_text(const Configuration& configuration, StatusForm form, bool& all_well) {
  std::vector<LogStatus> all;
  for (const ConfiguredSink& sink : configuration.sinks) {
    for (const SourceLog& log : configuration.logs) {
      if (sink.logs.empty() || std::find(sink.logs.begin(), sink.logs.end(), log.name()) != sink.logs.end()) {
        all.push_back(status_of(configuration, sink, log));
      }
    }
  }
  all_well = std::none_of(all.begin(), all.end(), [](const LogStatus& one) { return one.lasting; });
  switch (form) {
    case StatusForm::kJson:
      return json_lines(all);
    case StatusForm::kPrometheus:
      return prometheus(all);
    default:
      return table(all);
  }
}

}  // namespace exporter
