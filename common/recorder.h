// The video-surveillance recorder, whose tools the logs run if one is installed.
#pragma once

#include "common/detached.h"

namespace annal {

// A recorder's tools are installed together, so one check suffices; it has always looked for the connection tool.
inline constexpr char kRecorderInstalled[] = "/sbin/orcapro_conn_log_tool";

inline constexpr LaunchOptions kRecorder{
    .first_child = LaunchOptions::FirstChild::kKeepsStreams,
    .session = LaunchOptions::Session::kOwn,
    .streams = LaunchOptions::Streams::kShared,
    .script = LaunchOptions::Script::kRefused,
    .status_without_command = 0,
};

}  // namespace annal
