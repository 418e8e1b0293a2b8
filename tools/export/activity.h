// What a running exporter says of itself to "annal-export status": beside the states, one small file for each sink.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <map>
#include <optional>
#include <string>

namespace exporter {

struct Activity {
  pid_t process = 0;
  std::int64_t updated = 0;  // in seconds since 1970, as all times here
  double rate = 0;           // entries a second, of late

  struct Error {
    std::string text;
    std::int64_t time = 0;
    bool lasting = false;  // it still keeps the sink from its work
  };
  std::optional<Error> error{};               // the last one of the sink
  std::map<std::string, Error> log_errors{};  // and of each log
};

// Best effort: what this file has is only to be looked at.
void save_activity(const std::string& folder, const std::string& sink, const Activity& activity);
[[nodiscard]] std::optional<Activity> load_activity(const std::string& folder, const std::string& sink);

}  // namespace exporter
