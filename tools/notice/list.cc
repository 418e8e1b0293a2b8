#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <iterator>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tools/listing.h"
#include "tools/notice/commands.h"
#include "tools/notice/model.h"
#include "tools/number.h"
#include "tools/result.h"
#include "tools/tail.h"

namespace annalctl::notice {

namespace {

constexpr char kListFooter[] =
    "Without --sort and --oldest the newest notices come first.\n"
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

// The filter in the library's words.
struct Span {
  std::string from;
  std::string to;
  int days;
  std::optional<std::string> condition;

  [[nodiscard]] const char* condition_text() const { return condition ? condition->c_str() : nullptr; }
};

// Quotes would be doubled by the library. What ends one statement and begins another has no place in a filter.
void require_expression(const std::string& text) {
  if (text.find_first_of("'\";") != std::string::npos) {
    throw Refusal(fmt::format("'{}' cannot be asked for: a condition has neither quotes nor ';'", text));
  }
}

std::optional<std::string> condition_of(const Filter& filter) {
  std::optional<std::string> condition;
  if (!filter.where.empty()) {
    require_expression(filter.where);
    condition = "(" + filter.where + ")";
  }
  if (filter.severity) {
    condition = fmt::format("severity = {}{}", *filter.severity, condition ? " and " + *condition : "");
  }
  return condition;
}

Span span_of(const Filter& filter) {
  using Stamp = std::numeric_limits<std::int32_t>;  // as notices have it
  Span span{fmt::to_string(Stamp::min()), fmt::to_string(Stamp::max()), std::numeric_limits<int>::max(),
            condition_of(filter)};
  if (!filter.since.empty()) {
    span.from = fmt::to_string(seconds_of(filter.since));
  }
  if (filter.days) {
    span.days = *filter.days;
    span.to = fmt::to_string(std::time(nullptr));
  }
  if (!filter.until.empty()) {
    span.to = fmt::to_string(seconds_of(filter.until));
  }
  return span;
}

struct ListArguments {
  Filter filter;
  std::optional<unsigned> sort;
  bool reverse = false;
  Page page;

  [[nodiscard]] unsigned order() const {
    const unsigned code = sort.value_or(kNewestFirst);
    return reverse ? code ^ 1U : code;
  }
};

struct TailArguments {
  Filter filter;
  TailOptions options;
};

struct GroupArguments {
  Filter filter;
  std::string by;
  bool by_size = false;
  Page page;
};

void add_order_options(CLI::App& command, ListArguments& arguments) {
  auto* const sort = add_choice(command, "--sort", arguments.sort, kSorts, "Order, ascending");
  auto* const reverse = command.add_flag("--reverse", arguments.reverse, "Turn the order round");
  auto* const newest = command.add_flag_callback(
      "--newest", [&arguments] { arguments.sort = kNewestFirst; }, "Newest first");
  auto* const oldest = command.add_flag_callback(
      "--oldest", [&arguments] { arguments.sort = kOldestFirst; }, "Oldest first");
  newest->excludes(sort)->excludes(reverse)->excludes(oldest);
  oldest->excludes(sort)->excludes(reverse);
}

// The notices that pass a filter, in an order. The span has to live as long as the listing.
Listing listing_of(const Filter& filter, const Span& span, unsigned sort) {
  const bool filtered = filter.wanted();
  return {
      {kLog, "list the notices", Purpose::kReading},
      listed_shape(),
      [sort, filtered, &span](annal_row_callback callback, void* context, Page::Range range) {
        return filtered ? annal_notice_query_byclientTime(callback, span.from.c_str(), span.days, span.to.c_str(),
                                                          range.start, range.end, sort, span.condition_text(), context)
                        : annal_notice_query(callback, sort, range.start, range.end, 0, context);
      },
  };
}

int run_list(const ListArguments& arguments, Program& program) {
  const Span span = span_of(arguments.filter);
  return show_page(listing_of(arguments.filter, span, arguments.order()), arguments.page, program);
}

int run_tail(const TailArguments& arguments, Program& program) {
  const Span span = span_of(arguments.filter);
  return show_tail({listing_of(arguments.filter, span, kHighestIdFirst)}, arguments.options, program);
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

int run_group(const GroupArguments& arguments, Program& program) {
  const Grouping& grouping = grouping_of(arguments.by);
  const Span span = span_of(arguments.filter);
  RowShape shape = listed_shape();
  shape.columns.push_back({"count", true});
  shape.table = grouping.table;
  const Listing listing{
      {kLog, "group the notices", Purpose::kReading},
      shape,
      [&span, &grouping](annal_row_callback callback, void* context, Page::Range range) {
        return annal_notice_query_group_byclientTime(callback, span.from.c_str(), span.days, span.to.c_str(),
                                                     range.start, range.end, kUnsorted, grouping.choice.code,
                                                     span.condition_text(), context);
      },
  };
  return (arguments.by_size ? show_largest : show_page)(listing, arguments.page, program);
}

int run_count(const Filter& filter, Program& program) {
  const Span span = span_of(filter);
  if (!log_is_there(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "count the notices", Purpose::kReading};
  const int count = filter.wanted() ? annal_notice_query_byclientTime_count(span.from.c_str(), span.days,
                                                                            span.to.c_str(), span.condition_text())
                                    : kLog.count();
  if (count < 0) {
    return report(call, count);
  }
  write_number(program.format(), "count", count, program.output);
  return kSuccess;
}

}  // namespace

void add_list(CLI::App& commands, Program& program) {
  CLI::App* const command = commands.add_subcommand("list", "Show notices, the newest first");
  const auto arguments = std::make_shared<ListArguments>();
  command->footer(kListFooter);
  add_filter_options(*command, arguments->filter);
  add_order_options(*command, *arguments);
  add_page_options(*command, arguments->page);
  command->callback([arguments, &program] { program.status = run_list(*arguments, program); });
}

void add_tail(CLI::App& commands, Program& program) {
  CLI::App* const command =
      commands.add_subcommand("tail", "Show the newest notices, and each new one when it is there");
  const auto arguments = std::make_shared<TailArguments>();
  command->footer(tail_footer(kLog));
  add_tail_options(*command, arguments->options);
  add_condition_options(*command, arguments->filter);
  command->callback([arguments, &program] { program.status = run_tail(*arguments, program); });
}

void add_count(CLI::App& commands, Program& program) {
  CLI::App* const command = commands.add_subcommand("count", "Print the number of notices");
  const auto filter = std::make_shared<Filter>();
  command->footer("Examples:\n  annalctl notice count\n  annalctl notice count --severity error --days 1");
  add_filter_options(*command, *filter);
  command->callback([filter, &program] { program.status = run_count(*filter, program); });
}

void add_group(CLI::App& commands, Program& program) {
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
  command->callback([arguments, &program] { program.status = run_group(*arguments, program); });
}

}  // namespace annalctl::notice
