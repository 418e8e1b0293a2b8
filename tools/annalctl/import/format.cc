#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/import/formats.h"

namespace annalctl {

namespace {

// "9" stands for any digit.
bool has_shape(std::string_view line, std::string_view shape) {
  if (line.size() < shape.size()) {
    return false;
  }
  for (std::size_t i = 0; i < shape.size(); ++i) {
    if (shape[i] == '9' ? !is_digit(line[i]) : line[i] != shape[i]) {
      return false;
    }
  }
  return true;
}

}  // namespace

LineFormat looks_like(std::string_view line) {
  const std::size_t first = line.find_first_not_of(" \t");
  if (first != std::string_view::npos && line[first] == '{') {
    return LineFormat::kJsonLines;
  }
  if (has_shape(line, "9999-99-99 99:99:99 ")) {
    return LineFormat::kDpkg;
  }
  if (has_shape(line, "9999-99-99T99:99:99") || begins_with_month(line)) {
    return LineFormat::kSyslog;
  }
  return LineFormat::kUnknown;
}

}  // namespace annalctl
