// The sinks that this build has.
#pragma once

#include <span>

#include "tools/export/sink.h"

namespace exporter {

[[nodiscard]] std::span<const SinkType* const> sink_types();

}  // namespace exporter
