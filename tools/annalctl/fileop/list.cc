#include <fmt/chrono.h>
#include <fmt/format.h>

#include <array>
#include <cstdint>
#include <ctime>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/query/listing.h"
#include "tools/annalctl/query/order_options.h"
#include "tools/annalctl/query/tail.h"

namespace annalctl::fileop {

namespace {

constexpr char kListFooter[] =
    "Without --sort and --oldest the newest operations come first: those with the latest date and time, and where a\n"
    "condition is given besides --type, those that were stored last. Those that are equal in the order asked for come "
    "in\n"
    "the order of their ids, which is reversed with it.\n"
    "A text is found anywhere in its column and in either case; '%' in it stands for any text, '_' for any character.\n"
    "With --from or --to alone the other is today.\n"
    "\n"
    "Examples:\n"
    "  annalctl fileop --db operations.db list --path /share/photos --user ann\n"
    "  annalctl fileop --db operations.db list --from 2026-11-01 --to 2026-11-21 --action 4\n"
    "  annalctl fileop --db operations.db list --all --oldest --json | gzip > operations.jsonl.gz";

constexpr char kCountFooter[] =
    "Conditions as for 'list'.\n"
    "\n"
    "Examples:\n"
    "  annalctl fileop --db operations.db count\n"
    "  annalctl fileop --db operations.db count --path /share/photos";

struct TextCondition {
  const char* option;
  const char* column;
  const char* help;
};

constexpr std::array kTextConditions{
    TextCondition{"--user", "event_user", "Only of this user"},
    TextCondition{"--ip", "event_ip", "Only from this address"},
    TextCondition{"--computer", "event_comp", "Only from this computer"},
    TextCondition{"--description", "event_desc", "Only with this description"},
};

// An empty path is a condition, which every operation with a path meets.
constexpr std::array kPathConditions{
    TextCondition{"--path", "event_filepath", "Only with this path"},
    TextCondition{"--old-path", "event_oldfilepath", "Only with this path before a move or renaming"},
};

std::string today() {
  std::tm now{};
  const std::time_t seconds = std::time(nullptr);
  static_cast<void>(localtime_r(&seconds, &now));
  return fmt::format("{:%Y-%m-%d}", now);
}

// What was asked for. Those of the level are kept apart: they do not count for the usual order.
class Conditions {
 public:
  Conditions() = default;
  Conditions(const Conditions&) = delete;
  Conditions& operator=(const Conditions&) = delete;
  Conditions(Conditions&&) = delete;
  Conditions& operator=(Conditions&&) = delete;
  ~Conditions() = default;

  void add_options(CLI::App& command) {
    add_choice(command, "--type", type_, kLevelFilters, "Only operations of this level");
    for (const TextCondition& condition : kTextConditions) {
      add_text(command, condition, false);
    }
    add_date(command, "--from", from_, "Only from this date on, as 2026-11-21");
    add_date(command, "--to", to_, "Only up to this date, as 2026-11-21");
    for (const TextCondition& condition : kPathConditions) {
      add_text(command, condition, true);
    }
    add_number(command, "--folder", "event_isFolder", 1, "Only with this folder code, 1 or 2");
    add_number(command, "--action", "event_action", 1, "Only of this action");
    add_number(command, "--size", "event_filesize", 0, "Only of this size");
  }

  // Whether there is more than the level to look for.
  [[nodiscard]] bool any() const { return !found_.empty() || !from_.empty() || !to_.empty(); }

  [[nodiscard]] std::vector<Condition> all() const {
    std::vector<Condition> conditions = found_;
    if (type_.value_or(0) != 0) {
      conditions.push_back(equals("event_type", std::int64_t{*type_} - 1));
    }
    if (!from_.empty() || !to_.empty()) {
      conditions.push_back(
          {"event_date >= ? AND event_date <= ?", {from_.empty() ? today() : from_, to_.empty() ? today() : to_}});
    }
    return conditions;
  }

 private:
  void add_text(CLI::App& command, const TextCondition& condition, bool may_be_empty) {
    command
        .add_option_function<std::string>(
            condition.option,
            [this, &condition, may_be_empty](const std::string& text) {
              if (may_be_empty || !text.empty()) {
                found_.push_back(contains(condition.column, text));
              }
            },
            condition.help)
        ->type_name("TEXT");
  }

  static void add_date(CLI::App& command, const char* option, std::string& date, const char* help) {
    command.add_option(option, date, help)->type_name("TEXT");
  }

  void add_number(CLI::App& command, const char* option, const char* column, int least, const char* help) {
    command
        .add_option_function<std::int32_t>(
            option, [this, column](std::int32_t value) { found_.push_back(equals(column, std::int64_t{value})); }, help)
        ->type_name("N")
        ->check(at_least(least));
  }

  std::optional<unsigned> type_;
  std::vector<Condition> found_;
  std::string from_;
  std::string to_;
};

struct Selection {
  Conditions conditions;
  OrderOptions order;
  PageOptions page;

  // What a search finds is shown the last stored first, which is not the latest where a clock was set back.
  [[nodiscard]] unsigned usual_order() const { return conditions.any() ? kHighestIdFirst : kNewestFirst; }
};

struct TailArguments {
  Conditions conditions;
  TailOptions options;
};

Listing listing_of(const Conditions& conditions, unsigned sort) {
  Listing listing{{kLog, "list the file operations", Purpose::kReading}, listed_shape(), {}};
  listing.query.id = "event_id";
  listing.query.conditions = conditions.all();
  listing.query.order_by(kSorts, sort);
  return listing;
}

int run_list(const Selection& selection, Session& session) {
  return show_page(listing_of(selection.conditions, selection.order.order(selection.usual_order())), selection.page,
                   session);
}

int run_tail(const TailArguments& arguments, Session& session) {
  return show_tail({listing_of(arguments.conditions, kHighestIdFirst)}, arguments.options, session);
}

int run_count(const Conditions& conditions, Session& session) {
  Listing listing = listing_of(conditions, kNewestFirst);
  listing.call.doing = "count the file operations";
  return show_count(listing, session);
}

}  // namespace

void add_list(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("list", "Show file operations, the newest first");
  const auto selection = std::make_shared<Selection>();
  command->footer(kListFooter);
  selection->conditions.add_options(*command);
  selection->order.add_options(*command, kSorts);
  add_page_options(*command, selection->page);
  command->callback([selection, &session] { session.status = run_list(*selection, session); });
}

void add_count(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("count", "Print the number of file operations");
  const auto conditions = std::make_shared<Conditions>();
  command->footer(kCountFooter);
  conditions->add_options(*command);
  command->callback([conditions, &session] { session.status = run_count(*conditions, session); });
}

void add_tail(CLI::App& commands, Session& session) {
  CLI::App* const command =
      commands.add_subcommand("tail", "Show the newest file operations, and each new one when it is there");
  const auto arguments = std::make_shared<TailArguments>();
  command->footer(tail_footer(kLog));
  add_tail_options(*command, arguments->options);
  arguments->conditions.add_options(*command);
  command->callback([arguments, &session] { session.status = run_tail(*arguments, session); });
}

}  // namespace annalctl::fileop
