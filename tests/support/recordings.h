// The folder for the recordings of commands, in a temporary folder of the appliance.
#pragma once

namespace annal::test {

inline constexpr const char* kRecordings = "/usr/local/sbin/.recordings";
inline constexpr const char* kRecordingSuffix = ".json";

// The suffix of the recorder's configuration file.
inline constexpr const char* kBehaviourSuffix = ".behaviour";

}  // namespace annal::test
