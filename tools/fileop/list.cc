#include <array>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "Corix_annal.h"
#include "tools/fields.h"
#include "tools/fileop/commands.h"
#include "tools/fileop/model.h"
#include "tools/level.h"
#include "tools/listing.h"
#include "tools/number.h"
#include "tools/result.h"
#include "tools/tail.h"

namespace annalctl::fileop {

namespace {

constexpr char kListFooter[] =
    "Without --sort and --oldest the newest operations come first: those with the latest date and time, and where a\n"
    "condition is given besides --type, those that were stored last.\n"
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
  TextField field;
  const char* help;
};

constexpr std::array kTextConditions{
    TextCondition{{"", "--user", "user", offsetof(FileOpFilter, event_user), 64}, "Only of this user"},
    TextCondition{{"", "--ip", "address", offsetof(FileOpFilter, event_ip), 64}, "Only from this address"},
    TextCondition{{"", "--computer", "computer", offsetof(FileOpFilter, event_comp), 64}, "Only from this computer"},
    TextCondition{{"", "--description", "description", offsetof(FileOpFilter, event_desc), 1024},
                  "Only with this description"},
    TextCondition{{"", "--from", "first date", offsetof(FileOpFilter, date_from), 10},
                  "Only from this date on, as 2026-11-21"},
    TextCondition{{"", "--to", "last date", offsetof(FileOpFilter, date_to), 10},
                  "Only up to this date, as 2026-11-21"},
};

// The filter, and the texts that it points to.
class Conditions {
 public:
  Conditions() { filter_.event_filesize = -1; }
  Conditions(const Conditions&) = delete;
  Conditions& operator=(const Conditions&) = delete;
  Conditions(Conditions&&) = delete;
  Conditions& operator=(Conditions&&) = delete;
  ~Conditions() = default;

  void add_options(CLI::App& command) {
    add_choice(command, "--type", type_, kLevelFilters, "Only operations of this level");
    for (const auto& [field, help] : kTextConditions) {
      command
          .add_option_function<std::string>(
              field.option,
              [this, &condition = field](const std::string& text) {
                set_text(&filter_, condition, escaped(text));
                any_ = any_ || !text.empty();
              },
              help)
          ->type_name("TEXT");
    }
    add_path(command, "--path", path_, "Only with this path");
    add_path(command, "--old-path", old_path_, "Only with this path before a move or renaming");
    add_number(command, "--folder", filter_.event_isFolder, 1, "Only with this folder code, 1 or 2");
    add_number(command, "--action", filter_.event_action, 1, "Only of this action");
    add_number(command, "--size", filter_.event_filesize, 0, "Only of this size");
  }

  [[nodiscard]] unsigned type() const { return type_.value_or(0); }

  // Null when there is nothing but the type to look for.
  [[nodiscard]] FileOpFilter* filter() {
    if (!any_) {
      return nullptr;
    }
    filter_.event_type = type();
    filter_.event_filepath = path_ ? path_->c_str() : nullptr;
    filter_.event_oldfilepath = old_path_ ? old_path_->c_str() : nullptr;
    return &filter_;
  }

 private:
  void add_path(CLI::App& command, const char* option, std::optional<std::string>& path, const char* help) {
    command
        .add_option_function<std::string>(
            option,
            [this, &path](const std::string& text) {
              path = escaped(text);
              any_ = true;
            },
            help)
        ->type_name("TEXT");
  }

  void add_number(CLI::App& command, const char* option, std::int32_t& number, int least, const char* help) {
    command
        .add_option_function<std::int32_t>(
            option,
            [this, &number](std::int32_t value) {
              number = value;
              any_ = true;
            },
            help)
        ->type_name("N")
        ->check(at_least(least));
  }

  std::optional<unsigned> type_;
  std::optional<std::string> path_;
  std::optional<std::string> old_path_;
  FileOpFilter filter_{};
  bool any_ = false;
};

// All else that the library refuses has been checked before.
int require_room(int code) {
  if (code == ANNAL_BAD_ARGUMENT) {
    throw Refusal("the conditions are too long: together they have room for about 2000 bytes");
  }
  return code;
}

struct Selection {
  Conditions conditions;
  std::optional<unsigned> sort;
  bool reverse = false;
  Page page;

  [[nodiscard]] unsigned order() const {
    const unsigned code = sort.value_or(kNewestFirst);
    return reverse ? code ^ 1U : code;
  }
};

struct TailArguments {
  Conditions conditions;
  TailOptions options;
};

Listing listing_of(Conditions& conditions, unsigned sort) {
  const unsigned type = conditions.type();
  FileOpFilter* const filter = conditions.filter();
  return {
      {kLog, "list the file operations", Purpose::kReading},
      listed_shape(),
      [=](annal_row_callback callback, void* context, Page::Range range) {
        return filter == nullptr
                   ? pavo2log_event_query(kLog.path, callback, sort, range.start, range.end, type, context)
                   : require_room(
                         pavo2log_event_query_by(kLog.path, callback, filter, sort, range.start, range.end, context));
      },
  };
}

int run_list(Selection& selection, Program& program) {
  return show_page(listing_of(selection.conditions, selection.order()), selection.page, program);
}

int run_tail(TailArguments& arguments, Program& program) {
  return show_tail({listing_of(arguments.conditions, kHighestIdFirst)}, arguments.options, program);
}

int run_count(Conditions& conditions, Program& program) {
  if (!log_is_there(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "count the file operations", Purpose::kReading};
  FileOpFilter* const filter = conditions.filter();
  const int count =
      filter == nullptr
          ? pavo2log_event_query_count(kLog.path, conditions.type(), nullptr, nullptr, nullptr, nullptr)
          : require_room(pavo2log_event_query_count_by(kLog.path, filter, nullptr, nullptr, nullptr, nullptr));
  if (count < 0) {
    return report(call, count);
  }
  write_number(program.format(), "count", count, program.output);
  return kSuccess;
}

}  // namespace

void add_list(CLI::App& commands, Program& program) {
  CLI::App* const command = commands.add_subcommand("list", "Show file operations, the newest first");
  const auto selection = std::make_shared<Selection>();
  command->footer(kListFooter);
  selection->conditions.add_options(*command);
  auto* const sort = add_choice(*command, "--sort", selection->sort, kSorts, "Order, ascending");
  auto* const reverse = command->add_flag("--reverse", selection->reverse, "Turn the order round");
  command
      ->add_flag_callback(
          "--oldest", [selection] { selection->sort = kOldestFirst; }, "Oldest date first")
      ->excludes(sort)
      ->excludes(reverse);
  add_page_options(*command, selection->page);
  command->callback([selection, &program] { program.status = run_list(*selection, program); });
}

void add_count(CLI::App& commands, Program& program) {
  CLI::App* const command = commands.add_subcommand("count", "Print the number of file operations");
  const auto conditions = std::make_shared<Conditions>();
  command->footer(kCountFooter);
  conditions->add_options(*command);
  command->callback([conditions, &program] { program.status = run_count(*conditions, program); });
}

void add_tail(CLI::App& commands, Program& program) {
  CLI::App* const command =
      commands.add_subcommand("tail", "Show the newest file operations, and each new one when it is there");
  const auto arguments = std::make_shared<TailArguments>();
  command->footer(tail_footer(kLog));
  add_tail_options(*command, arguments->options);
  arguments->conditions.add_options(*command);
  command->callback([arguments, &program] { program.status = run_tail(*arguments, program); });
}

}  // namespace annalctl::fileop
