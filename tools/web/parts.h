// The four logs as the page shows them: what all have, in the same places, whatever their columns are called.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/output.h"
#include "tools/annalctl/query/filter_options.h"

namespace annal_web {

// How bad an entry is, which all logs have in common.
enum class Grade : unsigned {
  kInformation,
  kWarning,
  kError,
};

struct Part {
  annalctl::Log* log;
  const annalctl::EntryView* entry;
  std::span<const annalctl::TableColumn> codes;  // how the columns with codes are shown
  const char* title;
  // SQL expressions.
  const char* user;
  const char* address;
  const char* computer;
  const char* application;
  const char* message;
  Grade (*grade)(std::int64_t level);
  // By the levels that all logs have, and by the log's own when it is looked at alone.
  annalctl::LogFilters with_others;
  annalctl::LogFilters alone;
};

// Events, connections, file operations, notices.
[[nodiscard]] std::span<const Part> parts();
[[nodiscard]] const Part* part_named(const std::string& name);
[[nodiscard]] std::size_t place_of(const Part& part);

// The file of the file operations, which is the server's to name; empty when it named none.
void use_file_operations(const std::string& file);
[[nodiscard]] bool is_configured(const Part& part);

// The name of a level in its log, or the number of one that has none.
[[nodiscard]] std::string level_name(const Part& part, std::int64_t level);
[[nodiscard]] const char* grade_name(Grade grade);

}  // namespace annal_web
