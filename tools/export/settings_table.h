// A table of the configuration file behind Settings. Apart, because the library's header takes seconds to compile.
#pragma once

#include <toml++/toml.h>

#include <memory>
#include <string>

#include "tools/export/settings.h"

namespace exporter {

struct Settings::Table {
  std::string file;
  std::shared_ptr<const toml::table> document;  // owns the table
  const toml::table* table;
};

}  // namespace exporter
