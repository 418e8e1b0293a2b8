// A line of another program's log, taken apart.
#pragma once

#include <cstdint>
#include <string>

namespace annalctl {

enum class Severity {
  kInformation = 0,
  kWarning = 1,
  kError = 2,
};

// Empty: the line does not tell.
struct LogLine {
  std::int64_t time = 0;
  Severity severity = Severity::kInformation;
  std::string level_from;  // why it is that one, for people
  std::string host;
  std::string program;
  std::string process;
  std::string category;
  std::string user;
  std::string address;
  std::string agent;
  std::string text;
};

}  // namespace annalctl
