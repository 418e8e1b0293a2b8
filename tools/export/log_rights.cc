// Takes on the rights that all configured logs need, and refuses logs that need different ones.
#include "tools/export/log_rights.h"

#include <fmt/format.h>
#include <unistd.h>

#include <optional>
#include <string>

#include "tools/annalctl/files/rights.h"

namespace exporter {

namespace {

std::string text_of(const std::optional<annalctl::Rights>& rights) {
  return rights ? "those of " + rights->name : "its own";
}

}  // namespace

void take_rights_for(const std::vector<SourceLog>& logs, const std::string& state_folder) {
  std::optional<annalctl::Rights> all;
  const SourceLog* first = nullptr;
  for (const SourceLog& log : logs) {
    annalctl::Log at_place = log.shape->log;
    at_place.path = log.path.c_str();
    std::optional<annalctl::Rights> needed;
    try {
      needed = annalctl::rights_needed_for(at_place);
    } catch (const annalctl::RightsFailure& failure) {
      throw RightsProblem(failure.what());
    }
    if (first != nullptr && (needed ? needed->name : "") != (all ? all->name : "")) {
      throw RightsProblem(
          fmt::format("{} is to be opened with {} rights, and {} with {}: run an exporter for each, with "
                      "a configuration and a state folder of its own",
                      first->path, text_of(all), log.path, text_of(needed)));
    }
    all = needed;
    first = &log;
  }
  if (!all) {
    return;
  }
  try {
    annalctl::take_on(*all);
  } catch (const annalctl::RightsFailure& failure) {
    throw RightsProblem(failure.what());
  }
  if (access(state_folder.c_str(), W_OK | X_OK) != 0) {
    throw RightsProblem(
        fmt::format("the logs are opened with the rights of {}, who cannot write to {}: make him its "
                    "owner, or name another folder as 'state'",
                    all->name, state_folder));
  }
}

}  // namespace exporter
