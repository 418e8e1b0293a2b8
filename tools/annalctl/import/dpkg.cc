// Parses the package manager's log.
#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/import/formats.h"

namespace annalctl {

namespace {

struct Action {
  std::string_view name;
  Severity severity;
};

// Other programs' lines begin with the same form of time; the next word tells them apart.
constexpr std::array kActions{
    Action{"startup", Severity::kInformation},  Action{"status", Severity::kInformation},
    Action{"conffile", Severity::kInformation}, Action{"install", Severity::kInformation},
    Action{"upgrade", Severity::kInformation},  Action{"configure", Severity::kInformation},
    Action{"trigproc", Severity::kInformation}, Action{"disappear", Severity::kWarning},
    Action{"remove", Severity::kWarning},       Action{"purge", Severity::kWarning},
};

}  // namespace

LogLine parse_dpkg(std::string_view line) {
  LogLine parsed;
  const auto time = take_iso_time(line);
  if (!time || line.substr(0, 1) != " ") {
    throw Refusal("it does not begin with a date and a time that exist");
  }
  line.remove_prefix(1);
  const std::string_view action = line.substr(0, line.find(' '));
  const auto* const known =
      std::find_if(kActions.begin(), kActions.end(), [action](const Action& one) { return one.name == action; });
  if (known == kActions.end() || action.size() == line.size()) {
    throw Refusal(fmt::format("'{}' is not an action of dpkg's log", line));
  }
  parsed.time = *time;
  parsed.severity = known->severity;
  parsed.level_from = fmt::format("the action '{}'", action);
  parsed.program = "dpkg";
  parsed.category = action;
  parsed.text = line;
  return parsed;
}

}  // namespace annalctl
