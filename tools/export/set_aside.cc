// Appends each refused record, with the reason and the time, to SINK.LOG.refused.jsonl.
#include "tools/export/set_aside.h"

#include <fmt/format.h>

#include <ctime>
#include <nlohmann/json.hpp>
#include <system_error>

#include "tools/export/small_file.h"

namespace exporter {

std::string set_aside_path(const std::string& folder, const std::string& sink, const std::string& log) {
  return fmt::format("{}/{}.{}.refused.jsonl", folder, sink, log);
}

void set_aside(const std::string& folder, const State& state, const Batch& batch, const std::vector<Refused>& refused) {
  using Json = nlohmann::ordered_json;
  const std::string path = set_aside_path(folder, state.sink, state.log);
  std::string lines;
  for (const Refused& one : refused) {
    Json json = {{"reason", one.reason}, {"refused", std::time(nullptr)}};
    const std::string head = json.dump(-1, ' ', false, Json::error_handler_t::replace);
    lines += fmt::format("{}{},\"record\":{}}}", lines.empty() ? "" : "\n", head.substr(0, head.size() - 1),
                         json_of(batch.stream, batch.records[one.index]));
  }
  try {
    append_line(path, lines);
  } catch (const std::system_error& failure) {
    throw StateFailure(fmt::format("cannot set refused entries aside in {}: {} (nothing more is sent until this works)",
                                   path, failure.code().message()));
  }
}

}  // namespace exporter
