// The video-surveillance recorder, whose tools the logs run when one is installed.
#pragma once

#include "common/detached.h"

namespace annal {

// A recorder is there when its connection tool is: its tools are installed together, and that one has always been asked
// for.
inline constexpr char kRecorderInstalled[] = "/sbin/orcapro_conn_log_tool";

inline constexpr Surroundings kRecorder{
    .first_child = Surroundings::FirstChild::kKeepsStreams,
    .session = Surroundings::Session::kOwn,
    .streams = Surroundings::Streams::kShared,
    .script = Surroundings::Script::kRefused,
    .status_without_command = 0,
};

}  // namespace annal
