// Makes a log's commands when its group is named, and takes on its rights before they run.
#include "tools/annalctl/log/command_group.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string_view>
#include <utility>

#include "tools/annalctl/log/place.h"

namespace annalctl {

namespace {

// Lets the general options follow the command, too.
void take_general_options(CLI::App& command) {
  command.fallthrough();
  // The parser asks a command's option groups first. A group inherits falling through from its command, and would ask
  // the command in return, without end: the parser prevents that only for commands that exist when it starts.
  for (CLI::App* options : command.get_subcommands([](const CLI::App* part) { return part->get_name().empty(); })) {
    options->fallthrough(false);
  }
}

// No command of a log runs with more rights than the log has.
class LogGroup : public CLI::App {
 public:
  LogGroup(CLI::App& app, Log& log, Session& session)
      : CLI::App(description_of(log), log.name, &app), log_(log), session_(session) {
    const bool has_a_place = *log.path != '\0';
    add_option("--db", file_, has_a_place ? "The log's file, if it is elsewhere: see --dir" : "The log's file")
        ->type_name("FILE")
        ->check(not_empty())
        ->required(!has_a_place);
  }

  // By now the whole command line is parsed, and no command has run.
  void pre_callback() override {
    const CLI::App& command = *get_subcommands().front();
    const CLI::Option* const dry_run = command.get_option_no_throw("--dry-run");
    const bool only_looks = dry_run != nullptr && dry_run->count() > 0;
    settle(log_, file_, session_.place, only_looks ? Intent::kReading : intent_of(command.get_name()));
    take_rights_where_it_is(log_);
  }

 private:
  static std::string description_of(const Log& log) {
    if (*log.path == '\0') {
      return fmt::format("A log of {}, in a file of its own", log.entries);
    }
    const std::string_view entries = log.entries;
    return fmt::format("The {} log, {}", entries.substr(0, entries.size() - 1), log.path);  // without the plural's s
  }

  static CLI::Validator not_empty() {
    return CLI::Validator(
        [](const std::string& name) { return name.empty() ? std::string("it needs the name of a file") : ""; }, "");
  }

  Log& log_;
  Session& session_;
  std::string file_;
};

CLI::App* fill(CLI::App* group, MakeCommands make) {
  group->footer(
      fmt::format("Run 'annalctl {} COMMAND --help' for a command's options and examples.", group->get_name()));
  group->fallthrough();
  group->require_subcommand(1);
  // Creating the commands of all groups takes longer than most commands run.
  group->preparse_callback([group, make = std::move(make)](std::size_t /*arguments*/) {
    const std::string footer = group->get_footer();
    group->footer("");  // each command would inherit it
    make(*group);
    group->footer(footer);
    for (CLI::App* command : group->get_subcommands({})) {
      take_general_options(*command);
    }
  });
  return group;
}

}  // namespace

CLI::App* add_group(CLI::App& app, const std::string& name, const std::string& description, MakeCommands make) {
  return fill(app.add_subcommand(name, description), std::move(make));
}

CLI::App* add_log_group(CLI::App& app, Session& session, Log& log, MakeCommands make) {
  return fill(app.add_subcommand(std::make_shared<LogGroup>(app, log, session)), std::move(make));
}

}  // namespace annalctl
