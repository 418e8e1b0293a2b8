// Which rows of a listing are wanted.
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>

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

  // One row beyond the page is asked for when the tool set the limit itself: only then is it worth telling that there
  // are more.
  [[nodiscard]] Window window() const;
  [[nodiscard]] bool bounded() const { return !all; }
};

void add_page_options(CLI::App& command, PageOptions& page);

}  // namespace annalctl
