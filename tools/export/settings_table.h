// A table of the configuration file behind Settings. Apart, because the library's header takes seconds to compile.
#pragma once

#include <toml++/toml.h>

#include <memory>
#include <string>
#include <vector>

#include "tools/export/settings.h"

namespace exporter {

struct Settings::Table {
  std::string file;
  std::shared_ptr<const toml::table> document;  // owns the table
  const toml::table* table;
};

// The content of a file as a table; null after a complaint.
[[nodiscard]] std::shared_ptr<const toml::table> parse_file(const std::string& file,
                                                            std::vector<Complaint>& complaints);

}  // namespace exporter
