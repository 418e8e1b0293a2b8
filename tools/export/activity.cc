// Stores a sink's activity as JSON. A failed write is ignored, and an unreadable file counts as none.
#include "tools/export/activity.h"

#include <nlohmann/json.hpp>
#include <system_error>

#include "tools/export/small_file.h"

namespace exporter {

namespace {

using Json = nlohmann::ordered_json;

std::string path_of(const std::string& folder, const std::string& sink) {
  return folder + "/" + sink + ".activity";
}

Json json_of(const Activity::Error& error) {
  return {{"text", error.text}, {"time", error.time}, {"lasting", error.lasting}};
}

Activity::Error error_of(const Json& json) {
  return {.text = json.at("text").get<std::string>(),
          .time = json.at("time").get<std::int64_t>(),
          .lasting = json.at("lasting").get<bool>()};
}

}  // namespace

void save_activity(const std::string& folder, const std::string& sink, const Activity& activity) {
  Json json = {{"process", activity.process}, {"updated", activity.updated}, {"rate", activity.rate}};
  if (activity.error) {
    json["error"] = json_of(*activity.error);
  }
  json["logs"] = Json::object();
  for (const auto& [log, error] : activity.log_errors) {
    json["logs"][log] = json_of(error);
  }
  try {
    replace_file(path_of(folder, sink), json.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n", Durable::kNo);
  } catch (const std::system_error&) {
    return;
  }
}

std::optional<Activity> load_activity(const std::string& folder, const std::string& sink) {
  try {
    const std::optional<std::string> content = content_of(path_of(folder, sink));
    if (!content) {
      return {};
    }
    const Json json = Json::parse(*content);
    Activity activity{.process = json.at("process").get<pid_t>(),
                      .updated = json.at("updated").get<std::int64_t>(),
                      .rate = json.at("rate").get<double>()};
    if (json.contains("error")) {
      activity.error = error_of(json.at("error"));
    }
    for (const auto& [log, error] : json.at("logs").items()) {
      activity.log_errors[log] = error_of(error);
    }
    return activity;
  } catch (const std::system_error&) {
    return {};
  } catch (const Json::exception&) {
    return {};
  }
}

}  // namespace exporter
