// The video-surveillance recorder, whose tools the logs run if one is installed.
#pragma once

#include "common/detached.h"

namespace annal {

// A recorder's tools are installed together, and its connection tool is the one that has always been looked for.
inline constexpr char kRecorderInstalled[] = "/sbin/orcapro_conn_log_tool";

inline constexpr Surroundings kRecorder{
    .first_child = Surroundings::FirstChild::kKeepsStreams,
    .session = Surroundings::Session::kOwn,
    .streams = Surroundings::Streams::kShared,
    .script = Surroundings::Script::kRefused,
    .status_without_command = 0,
};

}  // namespace annal
