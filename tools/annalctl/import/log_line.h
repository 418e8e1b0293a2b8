// A line of another program's log, taken apart.
#pragma once

#include <cstdint>
#include <string_view>

namespace annalctl {

enum class Severity {
  kInformation = 0,
  kWarning = 1,
  kError = 2,
};

// The texts are parts of the line. What the line does not tell is empty.
struct LogLine {
  std::int64_t time = 0;
  Severity severity = Severity::kInformation;
  std::string_view host;
  std::string_view program;
  std::string_view process;
  std::string_view category;
  std::string_view user;
  std::string_view address;
  std::string_view text;
};

}  // namespace annalctl
