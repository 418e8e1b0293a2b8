// The logs as the exporter sees them: where each is, and which of its columns say what.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/output.h"

namespace exporter {

// As a log's columns differ: all of them are in the order of the log's table.
struct LogShape {
  const annalctl::Log& log;
  const annalctl::EntryView& entry;
  std::size_t level;    // the column
  std::size_t message;  // the column that says most to people
  std::size_t stead;    // that which is taken when it is empty
  bool own_severities;  // the level is one of syslog's severities already

  // Otherwise there may be several such logs, each at a place of its own.
  [[nodiscard]] bool has_place() const { return *log.path != '\0'; }
};

// All four, the file operations last, which have no place of their own.
[[nodiscard]] const std::vector<LogShape>& log_shapes();

// Of a level as it is stored: its name and syslog's number. The name is the number itself if it has no other.
struct Level {
  std::string_view name;
  int severity;
};
[[nodiscard]] Level level_of(const LogShape& shape, const char* stored);

// A log to be read.
struct SourceLog {
  const LogShape* shape;
  std::string path;

  [[nodiscard]] std::string name() const { return shape->log.name; }
};

}  // namespace exporter
