#include <algorithm>
#include <memory>

#include "Corix_annal.h"
#include "tools/event/commands.h"
#include "tools/event/model.h"
#include "tools/level.h"
#include "tools/listing.h"
#include "tools/result.h"

namespace annalctl::event {

namespace {

constexpr char kListFooter[] =
    "Without --sort and --oldest the newest events come first.\n"
    "\n"
    "Examples:\n"
    "  annalctl event list --type error\n"
    "  annalctl event list --sort user --limit 100 --offset 200\n"
    "  annalctl event list --all --oldest --json | gzip > events.jsonl.gz";

constexpr char kGroupFooter[] =
    "Each group is counted within its level. Without --sort the groups stand in the order of what they are grouped "
    "by,\n"
    "by message in the order of their level.\n"
    "\n"
    "Examples:\n"
    "  annalctl event group --by user\n"
    "  annalctl event group --by ip --type warning --by-size --limit 10";

struct Selection {
  std::optional<unsigned> type;
  std::optional<unsigned> sort;
  bool reverse = false;
  Page page;

  // The order asked for, or the one of the command.
  [[nodiscard]] unsigned order(unsigned usual) const {
    const unsigned code = sort.value_or(usual);
    return reverse ? code ^ 1U : code;
  }
};

void add_type_option(CLI::App& command, std::optional<unsigned>& type) {
  add_choice(command, "--type", type, kLevelFilters, "Only events of this level");
}

void add_selection_options(CLI::App& command, Selection& selection) {
  add_type_option(command, selection.type);
  auto* const sort = add_choice(command, "--sort", selection.sort, kSorts, "Order, ascending");
  auto* const reverse = command.add_flag("--reverse", selection.reverse, "Turn the order round");
  auto* const newest = command.add_flag_callback(
      "--newest", [&selection] { selection.sort = kNewestFirst; }, "Newest date first");
  auto* const oldest = command.add_flag_callback(
      "--oldest", [&selection] { selection.sort = kOldestFirst; }, "Oldest date first");
  newest->excludes(sort)->excludes(reverse)->excludes(oldest);
  oldest->excludes(sort)->excludes(reverse);
  add_page_options(command, selection.page);
}

struct GroupArguments {
  Selection selection;
  std::optional<unsigned> by;
  bool by_size = false;
};

// The names of the groupings, as options want them.
std::span<const Choice> grouping_choices() {
  static const std::vector<Choice> choices = [] {
    std::vector<Choice> all;
    std::transform(kGroupings.begin(), kGroupings.end(), std::back_inserter(all),
                   [](const Grouping& grouping) { return grouping.choice; });
    return all;
  }();
  return choices;
}

const Grouping& grouping_of(unsigned code) {
  return *std::find_if(kGroupings.begin(), kGroupings.end(),
                       [code](const Grouping& grouping) { return grouping.choice.code == code; });
}

RowShape grouped_shape(const Grouping& grouping) {
  RowShape shape = listed_shape();
  shape.columns.push_back({"count", true});
  shape.table = grouping.table;
  return shape;
}

int run_list(const Selection& selection, Program& program) {
  const unsigned sort = selection.order(kNewestFirst);
  const unsigned type = selection.type.value_or(0);
  const Listing listing{
      {kLog, "list the events", Purpose::kReading},
      listed_shape(),
      [sort, type](annal_row_callback callback, void* context, Page::Range range) {
        return annal_event_query(callback, sort, range.start, range.end, type, context);
      },
  };
  return show_page(listing, selection.page, program);
}

int run_group(const GroupArguments& arguments, Program& program) {
  const Selection& selection = arguments.selection;
  const Grouping& grouping = grouping_of(arguments.by.value_or(0));
  const unsigned sort = selection.order(grouping.sort);
  const unsigned type = selection.type.value_or(0);
  const Listing listing{
      {kLog, "group the events", Purpose::kReading},
      grouped_shape(grouping),
      [sort, type, &grouping](annal_row_callback callback, void* context, Page::Range range) {
        return annal_event_query_group(callback, sort, range.start, range.end, type, grouping.choice.code, context);
      },
  };
  return (arguments.by_size ? show_largest : show_page)(listing, selection.page, program);
}

int run_count(unsigned type, Program& program) {
  if (!log_is_there(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "count the events", Purpose::kReading};
  const int count = annal_event_query_count(type);
  if (count < 0) {
    return report(call, count);
  }
  write_number(program.format(), "count", count, program.output);
  return kSuccess;
}

}  // namespace

void add_list(CLI::App& commands, Program& program) {
  CLI::App* const command = commands.add_subcommand("list", "Show events, the newest first");
  const auto selection = std::make_shared<Selection>();
  command->footer(kListFooter);
  add_selection_options(*command, *selection);
  command->callback([selection, &program] { program.status = run_list(*selection, program); });
}

void add_count(CLI::App& commands, Program& program) {
  CLI::App* const command = commands.add_subcommand("count", "Print the number of events");
  const auto type = std::make_shared<std::optional<unsigned>>();
  command->footer("Examples:\n  annalctl event count\n  annalctl event count --type error");
  add_type_option(*command, *type);
  command->callback([type, &program] { program.status = run_count(type->value_or(0), program); });
}

void add_group(CLI::App& commands, Program& program) {
  CLI::App* const command = commands.add_subcommand("group", "Show groups of events and their sizes");
  const auto arguments = std::make_shared<GroupArguments>();
  command->footer(kGroupFooter);
  add_choice(*command, "--by", arguments->by, grouping_choices(), "What the events of a group share")->required();
  add_selection_options(*command, arguments->selection);
  command->add_flag("--by-size", arguments->by_size, "Largest groups first; --sort decides between equal ones");
  command->callback([arguments, &program] { program.status = run_group(*arguments, program); });
}

}  // namespace annalctl::event
