// Which rows of a listing are wanted.
#pragma once

#include <CLI/CLI.hpp>

namespace annalctl {

struct Page {
  static constexpr int kUsualLimit = 50;

  int limit = kUsualLimit;
  int offset = 0;
  bool all = false;
  bool limit_given = false;

  // Start and end as the library counts them.
  struct Range {
    int start;
    int end;
  };

  // One row beyond the page is asked for when the tool set the limit itself: only then is it worth telling that there
  // are more.
  [[nodiscard]] Range range() const;
  [[nodiscard]] bool bounded() const { return !all; }
};

void add_page_options(CLI::App& command, Page& page);

}  // namespace annalctl
