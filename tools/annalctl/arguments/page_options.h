// Which rows of a listing to show.
#pragma once

#include <cstdint>

#include "tools/annalctl/base/cli_types.h"

namespace annalctl {

struct PageOptions {
  static constexpr int kUsualLimit = 50;

  int limit = kUsualLimit;
  int offset = 0;
  bool all = false;
  bool limit_given = false;

  struct Window {
    std::int64_t limit;
    std::int64_t offset;
  };

  // If the limit is the tool's own, asks for one more row than it shows: only then does it tell the user that there are
  // more.
  [[nodiscard]] Window window() const;
  [[nodiscard]] bool bounded() const { return !all; }
};

void add_page_options(CLI::App& command, PageOptions& page);

}  // namespace annalctl
