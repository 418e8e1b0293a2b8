#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/notice/commands.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/query/listing.h"
#include "tools/annalctl/query/order_options.h"
#include "tools/annalctl/query/tail.h"

namespace annalctl::notice {

namespace {

constexpr char kListFooter[] =
    "Without --sort and --oldest the newest notices come first. Those that are equal in the order asked for come in "
    "the\n"
    "order of their ids, which is reversed with it.\n"
    "\n"
    "Examples:\n"
    "  annalctl notice list --severity error --days 7\n"
    "  annalctl notice list --since '2026-11-21 10:00:00' --where 'severity <= 4 and facility = 17'\n"
    "  annalctl notice list --all --oldest --json | gzip > notices.jsonl.gz";

constexpr char kGroupFooter[] =
    "Those of one likeness share facility, name and description.\n"
    "\n"
    "Examples:\n"
    "  annalctl notice group --by facility\n"
    "  annalctl notice group --by likeness --by-size --limit 10";

// Which notices are wanted: the library selects them by their time and a condition.
struct Filter {
  std::string since;
  std::string until;
  std::optional<int> days;
  std::optional<unsigned> severity;
  std::string where;

  [[nodiscard]] bool wanted() const { return !since.empty() || !until.empty() || days || severity || !where.empty(); }
};

void add_condition_options(CLI::App& command, Filter& filter) {
  add_choice(command, "--severity", filter.severity, kSeverities, "Only notices of this severity");
  command
      .add_option("--where", filter.where,
                  "Only notices that satisfy this SQL expression on the columns, which has no quotes")
      ->type_name("SQL");
}

void add_filter_options(CLI::App& command, Filter& filter) {
  command.add_option("--since", filter.since, "Only notices from this time on: local time or seconds since 1970")
      ->type_name("TIME");
  command.add_option("--until", filter.until, "Only notices up to this time")->type_name("TIME");
  command.add_option("--days", filter.days, "Only notices of so many days of 24 hours before --until, or before now")
      ->type_name("N")
      ->check(at_least(0));
  add_condition_options(command, filter);
}

// Stands between others' conditions, and leaves each statement whole.
void require_expression(const std::string& text) {
  int open = 0;
  for (const char c : text) {
    open += c == '(' ? 1 : c == ')' ? -1 : 0;
    if (open < 0) {
      break;
    }
  }
  const bool whole = open == 0 && text.find_first_of("'\";?`[") == std::string::npos &&
                     text.find("--") == std::string::npos && text.find("/*") == std::string::npos;
  if (!whole) {
    throw Refusal(
        fmt::format("'{}' cannot be asked for: a condition has neither quotes, comments, '?' nor ';', and as "
                    "many ')' as '('",
                    text));
  }
}

// Seconds before a time, which may be any number.
std::int64_t before(std::int64_t time, std::int64_t seconds) {
  constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
  return time < kEarliest + seconds ? kEarliest : time - seconds;
}

// The time is looked at whenever anything is asked for, as the library does: what is no number has none.
std::vector<Condition> conditions_of(const Filter& filter) {
  using Stamp = std::numeric_limits<std::int32_t>;  // as notices have it
  constexpr std::int64_t kDay = 86400;
  std::int64_t from = Stamp::min();
  std::int64_t to = Stamp::max();
  if (!filter.since.empty()) {
    from = seconds_of(filter.since);
  }
  if (filter.days) {
    to = std::time(nullptr);
  }
  if (!filter.until.empty()) {
    to = seconds_of(filter.until);
  }
  std::vector<Condition> conditions{{"time >= ? AND time <= ?", {from, to}}};
  if (filter.days) {
    conditions.push_back({"time >= ?", {before(to, *filter.days * kDay)}});
  }
  if (filter.severity) {
    conditions.push_back(equals("severity", std::int64_t{*filter.severity}));
  }
  if (!filter.where.empty()) {
    require_expression(filter.where);
    conditions.push_back({filter.where, {}});
  }
  return conditions;
}

struct ListArguments {
  Filter filter;
  OrderOptions order;
  PageOptions page;
};

struct TailArguments {
  Filter filter;
  TailOptions options;
};

struct GroupArguments {
  Filter filter;
  std::string by;
  bool by_size = false;
  PageOptions page;
};

// The notices that pass a filter, in an order.
Listing listing_of(const Filter& filter, unsigned sort) {
  Listing listing{{kLog, "list the notices", Purpose::kReading}, listed_shape(), {}};
  listing.query.id = "id";
  if (filter.wanted()) {
    listing.query.conditions = conditions_of(filter);
  }
  listing.query.order_by(kSorts, sort);
  return listing;
}

int run_list(const ListArguments& arguments, Session& session) {
  return show_page(listing_of(arguments.filter, arguments.order.order(kNewestFirst)), arguments.page, session);
}

int run_tail(const TailArguments& arguments, Session& session) {
  return show_tail({listing_of(arguments.filter, kHighestIdFirst)}, arguments.options, session);
}

const Grouping& grouping_of(const std::string& name) {
  if (name == "client") {
    throw Refusal("the library cannot group notices by client (use --by ip instead)");
  }
  const auto found = std::find_if(kGroupings.begin(), kGroupings.end(),
                                  [&name](const Grouping& grouping) { return grouping.choice.name == name; });
  if (found == kGroupings.end()) {
    std::vector<Choice> known;
    std::transform(kGroupings.begin(), kGroupings.end(), std::back_inserter(known),
                   [](const Grouping& grouping) { return grouping.choice; });
    throw Refusal(fmt::format("--by: '{}' is not known; it takes one of {}", name, names_of(known)));
  }
  return *found;
}

int run_group(const GroupArguments& arguments, Session& session) {
  const Grouping& grouping = grouping_of(arguments.by);
  Listing listing{{kLog, "group the notices", Purpose::kReading}, listed_shape(), {}};
  listing.shape.columns.push_back({"count", true});
  listing.shape.table = grouping.table;
  listing.query.id = "id";
  listing.query.conditions = conditions_of(arguments.filter);
  listing.query.group_by(grouping.columns);
  listing.query.largest_first = arguments.by_size;
  return show_page(listing, arguments.page, session);
}

int run_count(const Filter& filter, Session& session) {
  Listing listing = listing_of(filter, kNewestFirst);
  listing.call.doing = "count the notices";
  return show_count(listing, session);
}

}  // namespace

void add_list(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("list", "Show notices, the newest first");
  const auto arguments = std::make_shared<ListArguments>();
  command->footer(kListFooter);
  add_filter_options(*command, arguments->filter);
  arguments->order.add_options(*command, kSorts);
  add_page_options(*command, arguments->page);
  command->callback([arguments, &session] { session.status = run_list(*arguments, session); });
}

void add_tail(CLI::App& commands, Session& session) {
  CLI::App* const command =
      commands.add_subcommand("tail", "Show the newest notices, and each new one when it is there");
  const auto arguments = std::make_shared<TailArguments>();
  command->footer(tail_footer(kLog));
  add_tail_options(*command, arguments->options);
  add_condition_options(*command, arguments->filter);
  command->callback([arguments, &session] { session.status = run_tail(*arguments, session); });
}

void add_count(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("count", "Print the number of notices");
  const auto filter = std::make_shared<Filter>();
  command->footer("Examples:\n  annalctl notice count\n  annalctl notice count --severity error --days 1");
  add_filter_options(*command, *filter);
  command->callback([filter, &session] { session.status = run_count(*filter, session); });
}

void add_group(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("group", "Show groups of notices and their sizes");
  const auto arguments = std::make_shared<GroupArguments>();
  command->footer(kGroupFooter);
  std::vector<Choice> known;
  std::transform(kGroupings.begin(), kGroupings.end(), std::back_inserter(known),
                 [](const Grouping& grouping) { return grouping.choice; });
  command->add_option("--by", arguments->by, "What the notices of a group share: " + names_of(known))
      ->type_name("NAME")
      ->required();
  add_filter_options(*command, arguments->filter);
  add_page_options(*command, arguments->page);
  command->add_flag("--by-size", arguments->by_size, "Largest groups first");
  command->callback([arguments, &session] { session.status = run_group(*arguments, session); });
}

}  // namespace annalctl::notice
