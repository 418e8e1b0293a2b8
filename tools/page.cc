#include "tools/page.h"

#include <fmt/format.h>

#include <limits>

#include "tools/number.h"

namespace annalctl {

namespace {
constexpr int kLargest = std::numeric_limits<int>::max();
}

Page::Range Page::range() const {
  if (all) {
    // 0 and 0 are the library's words for all rows.
    return offset == 0 ? Range{0, 0} : Range{offset, kLargest};
  }
  if (limit == 0) {
    return {1, 1};  // An empty page anywhere but at the beginning, where it would be all rows.
  }
  const int wanted = limit_given || limit == kLargest ? limit : limit + 1;
  return {offset, offset > kLargest - wanted ? kLargest : offset + wanted};
}

void add_page_options(CLI::App& command, Page& page) {
  auto* const limit = command
                          .add_option_function<int>(
                              "--limit",
                              [&page](const int& value) {
                                page.limit = value;
                                page.limit_given = true;
                              },
                              fmt::format("Show at most so many rows; without it {}", Page::kUsualLimit))
                          ->type_name("N")
                          ->check(at_least(0));
  command.add_option("--offset", page.offset, "Leave out so many rows at the beginning")
      ->type_name("N")
      ->check(at_least(0));
  command.add_flag("--all", page.all, "Show all rows")->excludes(limit);
}

}  // namespace annalctl
