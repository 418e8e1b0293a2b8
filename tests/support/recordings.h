// Where the recorders of commands leave what they recorded. It lies in a throw-away folder of the appliance.
#pragma once

namespace annal::test {

inline constexpr const char* kRecordings = "/usr/local/sbin/.recordings";
inline constexpr const char* kRecordingSuffix = ".json";

// Behind a command's path: the file that says how its recorder behaves.
inline constexpr const char* kBehaviourSuffix = ".behaviour";

}  // namespace annal::test
