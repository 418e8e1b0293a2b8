// The options that select a page of a listing.
#include "tools/annalctl/arguments/page_options.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <limits>

#include "tools/annalctl/arguments/number_range.h"

namespace annalctl {

PageOptions::Window PageOptions::window() const {
  if (all) {
    return {std::numeric_limits<std::int64_t>::max(), offset};
  }
  return {limit_given ? limit : std::int64_t{limit} + 1, offset};
}

void add_page_options(CLI::App& command, PageOptions& page) {
  auto* const limit = command
                          .add_option_function<int>(
                              "--limit,-n",
                              [&page](const int& value) {
                                page.limit = value;
                                page.limit_given = true;
                              },
                              fmt::format("Show at most N rows; default: {}", PageOptions::kUsualLimit))
                          ->type_name("N")
                          ->check(at_least(0));
  command.add_option("--offset", page.offset, "Skip the first N rows")->type_name("N")->check(at_least(0));
  command.add_flag("--all", page.all, "Show all rows")->excludes(limit);
}

}  // namespace annalctl
