// The options for a listing's order, the same for all logs.
#include "tools/annalctl/query/order_options.h"

#include <CLI/CLI.hpp>

namespace annalctl {

void OrderOptions::add_options(CLI::App& command, std::span<const Sort> sorts) {
  choices_ = choices_of(sorts);
  auto* const sort = add_choice(command, "--sort", sort_, choices_, "Order, ascending");
  auto* const reverse = command.add_flag("--reverse,-r", reverse_, "Reverse the order");
  auto* const newest = command.add_flag_callback(
      "--newest", [this] { sort_ = kNewestFirst; }, "Newest date first");
  auto* const oldest = command.add_flag_callback(
      "--oldest", [this] { sort_ = kOldestFirst; }, "Oldest date first");
  newest->excludes(sort)->excludes(reverse)->excludes(oldest);
  oldest->excludes(sort)->excludes(reverse);
}

}  // namespace annalctl
