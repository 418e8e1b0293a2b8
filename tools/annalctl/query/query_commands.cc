// The list, tail, count and group commands, which differ between the logs by data.
#include "tools/annalctl/query/query_commands.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/query/listing.h"
#include "tools/annalctl/query/news.h"
#include "tools/annalctl/query/tail.h"
#include "tools/annalctl/query/view_options.h"

namespace annalctl {

namespace {

struct Selection {
  FilterOptions filters;
  OrderOptions order;
  PageOptions page;
  NewsOptions news;
};

struct ListArguments {
  Selection selection;
  bool fold = false;
  bool by_size = false;
  bool follow = false;
};

struct GroupArguments {
  Selection selection;
  std::vector<Choice> choices;  // the names of the groupings, as options want them
  std::optional<unsigned> by;
  bool by_size = false;
};

struct TailArguments {
  FilterOptions filters;
  TailOptions options;
};

std::string footer(const char* notes, const char* examples) {
  return fmt::format("{}{}{}\nExamples:\n{}", notes, kFilterNotes, kWhenForms, examples);
}

void add_selection_options(CLI::App& command, Selection& selection, std::span<const Sort> sorts) {
  selection.order.add_options(command, sorts);
  add_page_options(command, selection.page);
}

RowShape listed_shape(const QueryCommands& search) {
  return {{search.log.columns.begin(), search.log.columns.end()}, search.table, &search.entry, true};
}

RowShape grouped_shape(const QueryCommands& search, const Grouping& grouping) {
  RowShape shape = listed_shape(search);
  shape.columns.push_back({"count", true});
  const auto& table = grouping.table;
  const auto* const end =
      std::find_if(table.begin(), table.end(), [](const TableColumn& one) { return one.title == nullptr; });
  shape.table = {table.begin(), end};
  shape.leaves_out = false;
  return shape;
}

Listing listing_of(const QueryCommands& search, const FilterOptions& filters, unsigned sort) {
  Listing listing{
      {search.log, fmt::format("list the {}", search.log.entries), Purpose::kReading},
      listed_shape(search),
      {},
  };
  listing.query.columns = search.columns;
  listing.query.id = search.id;
  listing.query.conditions = filters.conditions(search.filters);
  listing.query.order_by(search.sorts, sort);
  return listing;
}

// The newest of all that repeat each other, and their number.
int run_folded_list(const QueryCommands& search, const ListArguments& arguments, Session& session) {
  const Selection& selection = arguments.selection;
  Listing listing = listing_of(search, selection.filters, selection.order.order(kNewestFirst));
  std::vector<TableColumn> table{size_cell(search.log.columns.size())};
  table.insert(table.end(), search.table.begin(), search.table.end());
  listing.shape.columns.push_back({"count", true});
  listing.shape.table = table;
  if (!listing.query.goes_by_id()) {
    listing.query.sort.emplace_back(search.id);
  }
  listing.query.group_by(search.repeats);
  listing.query.largest_first = arguments.by_size;
  return show_page(listing, selection.page, session);
}

int run_list(const QueryCommands& search, const ListArguments& arguments, Session& session) {
  const Selection& selection = arguments.selection;
  if (arguments.fold) {
    return run_folded_list(search, arguments, session);
  }
  if (arguments.follow) {
    TailOptions options;
    options.lines = selection.page.limit_given ? selection.page.limit : options.lines;
    return show_tail({listing_of(search, selection.filters, kHighestIdFirst)}, options, session);
  }
  if (selection.news.given()) {
    return show_news(listing_of(search, selection.filters, kHighestIdFirst), selection.news, selection.page, session);
  }
  return show_page(listing_of(search, selection.filters, selection.order.order(kNewestFirst)), selection.page, session);
}

int run_tail(const QueryCommands& search, const TailArguments& arguments, Session& session) {
  return show_tail({listing_of(search, arguments.filters, kHighestIdFirst)}, arguments.options, session);
}

int run_count(const QueryCommands& search, const FilterOptions& filters, Session& session) {
  Listing listing = listing_of(search, filters, kNewestFirst);
  listing.call.doing = fmt::format("count the {}", search.log.entries);
  return show_count(listing, session);
}

int run_group(const QueryCommands& search, const GroupArguments& arguments, Session& session) {
  const Selection& selection = arguments.selection;
  const unsigned by = arguments.by.value_or(0);
  const Grouping& grouping = *std::find_if(search.groupings.begin(), search.groupings.end(),
                                           [by](const Grouping& one) { return one.choice.code == by; });
  Listing listing = listing_of(search, selection.filters, selection.order.order(grouping.sort));
  listing.call.doing = fmt::format("group the {}", search.log.entries);
  listing.shape = grouped_shape(search, grouping);
  listing.query.group_by(grouping.columns);
  listing.query.largest_first = arguments.by_size;
  return show_page(listing, selection.page, session);
}

}  // namespace

void add_list_command(CLI::App& commands, Session& session, const QueryCommands& search) {
  CLI::App* const command =
      commands.add_subcommand("list", fmt::format("Show {}, the newest first", search.log.entries));
  const auto arguments = std::make_shared<ListArguments>();
  Selection& selection = arguments->selection;
  command->footer(
      footer("Without --sort and --oldest the newest come first. Entries with equal values\n"
             "come in the order of their ids, which --reverse reverses, too.\n"
             "\n"
             "--fold treats entries as repeats if they differ only in numbers, times, addresses\n"
             "and the user's name. It shows the newest of them, and how many there are.\n",
             search.list_examples));
  selection.filters.add_options(*command, search.filters, search.log.entries);
  add_selection_options(*command, selection, search.sorts);
  add_view_options(*command, session);
  auto* const fold = command->add_flag("--fold", arguments->fold, "Show repeats as one entry, with their number");
  command->add_flag("--by-size", arguments->by_size, "With --fold: those with the most repeats first")->needs(fold);
  add_news_options(*command, selection.news);
  auto* const follow =
      command->add_flag("--follow,-f", arguments->follow, "Start with the newest and show each new one, like 'tail'");
  for (const char* other :
       {"--fold", "--sort", "--reverse", "--newest", "--oldest", "--offset", "--all", "--after-id", "--cursor"}) {
    follow->excludes(command->get_option(other));
  }
  command->callback([arguments, &session, &search] { session.status = run_list(search, *arguments, session); });
}

void add_show_command(CLI::App& commands, Session& session, const QueryCommands& search) {
  CLI::App* const command = commands.add_subcommand("show", "Show every field of entries");
  const auto ids = std::make_shared<std::vector<std::int64_t>>();
  command->footer(
      fmt::format("A code is followed by its name in parentheses; --json and --csv have the columns\n"
                  "as they are stored.\n\n"
                  "Examples:\n  annalctl {0}{1} show 4711\n  annalctl {0}{1} show 4711 4712 --json",
                  search.log.name, search.log.options));
  command->add_option("ID", *ids, "The entry's id, as 'list' shows it")->type_name("")->required();
  add_view_options(*command, session);
  command->callback([command, ids, &session, &search] {
    const CLI::App& program = *command->get_parent()->get_parent();
    if (program.get_option("--output")->count() == 0 && session.view.format == Format::kTable) {
      session.view.format = Format::kFull;
    }
    session.status = show_entries(listing_of(search, FilterOptions(), kNewestFirst), *ids, session);
  });
}

void add_tail_command(CLI::App& commands, Session& session, const QueryCommands& search) {
  CLI::App* const command =
      commands.add_subcommand("tail", fmt::format("Show the newest {}, then each new one", search.log.entries));
  const auto arguments = std::make_shared<TailArguments>();
  command->footer(fmt::format("{}{}\n{}", kFilterNotes, kWhenForms, tail_footer(search.log)));
  add_tail_options(*command, arguments->options);
  arguments->filters.add_options(*command, search.filters, search.log.entries);
  add_view_options(*command, session);
  command->callback([arguments, &session, &search] { session.status = run_tail(search, *arguments, session); });
}

void add_count_command(CLI::App& commands, Session& session, const QueryCommands& search) {
  CLI::App* const command = commands.add_subcommand("count", fmt::format("Print the number of {}", search.log.entries));
  const auto filters = std::make_shared<FilterOptions>();
  command->footer(footer("", search.count_examples));
  filters->add_options(*command, search.filters, search.log.entries);
  command->callback([filters, &session, &search] { session.status = run_count(search, *filters, session); });
}

void add_group_command(CLI::App& commands, Session& session, const QueryCommands& search) {
  CLI::App* const command =
      commands.add_subcommand("group", fmt::format("Show groups of {} and their sizes", search.log.entries));
  const auto arguments = std::make_shared<GroupArguments>();
  std::transform(search.groupings.begin(), search.groupings.end(), std::back_inserter(arguments->choices),
                 [](const Grouping& grouping) { return grouping.choice; });
  command->footer(footer(search.group_notes, search.group_examples));
  add_choice(*command, "--by", arguments->by, arguments->choices, "What the entries of a group share")->required();
  arguments->selection.filters.add_options(*command, search.filters, search.log.entries);
  add_selection_options(*command, arguments->selection, search.sorts.first(search.group_sorts));
  add_view_options(*command, session);
  command->add_flag("--by-size", arguments->by_size, "Largest groups first; --sort decides between equal ones");
  command->callback([arguments, &session, &search] { session.status = run_group(search, *arguments, session); });
}

}  // namespace annalctl
