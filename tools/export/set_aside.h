// Records that a receiver will never take, kept in a file beside the state for whoever looks after them.
#pragma once

#include <string>
#include <vector>

#include "tools/export/sink.h"
#include "tools/export/state.h"

namespace exporter {

[[nodiscard]] std::string set_aside_path(const std::string& folder, const std::string& sink, const std::string& log);

// Appends them as JSON Lines with the reasons; on the disk when it returns. Throws StateFailure.
void set_aside(const std::string& folder, const State& state, const Batch& batch, const std::vector<Refused>& refused);

}  // namespace exporter
