#include "tools/annalctl/log/command_group.h"

#include <fmt/format.h>

#include <memory>

#include "tools/annalctl/files/rights.h"

namespace annalctl {

namespace {

// Lets the general options stand behind the command too.
void take_general_options(CLI::App& command) {
  command.fallthrough();
  // The parser asks a command's option groups first. One that falls through inherits this from its command, and would
  // ask the command in return, without end: for commands that are there when it begins, the parser sees to that itself.
  for (CLI::App* options : command.get_subcommands([](const CLI::App* part) { return part->get_name().empty(); })) {
    options->fallthrough(false);
  }
}

// No command of a log is carried out with more rights than the log has.
class LogGroup : public CLI::App {
 public:
  LogGroup(CLI::App& app, const Log& log)
      : CLI::App(fmt::format("The {} log, {}", log.name, log.path), log.name, &app), log_(log) {}

  // The whole command line has been understood by now, and no command has begun.
  void pre_callback() override { take_rights_for(log_); }

 private:
  const Log& log_;
};

CLI::App* fill(CLI::App* group, std::span<const AddCommand> commands, Session& session) {
  group->footer(
      fmt::format("Run 'annalctl {} COMMAND --help' for what a command takes, with examples.", group->get_name()));
  group->fallthrough();
  group->require_subcommand(1);
  // Setting up the commands of every group takes longer than most commands run.
  group->preparse_callback([group, commands, &session](std::size_t /*arguments*/) {
    const std::string footer = group->get_footer();
    group->footer("");  // each would have it, too
    for (const AddCommand add : commands) {
      add(*group, session);
    }
    group->footer(footer);
    for (CLI::App* command : group->get_subcommands({})) {
      take_general_options(*command);
    }
  });
  return group;
}

}  // namespace

CLI::App* add_group(CLI::App& app, const std::string& name, const std::string& description,
                    std::span<const AddCommand> commands, Session& session) {
  return fill(app.add_subcommand(name, description), commands, session);
}

CLI::App* add_log_commands(CLI::App& app, const Log& log, std::span<const AddCommand> commands, Session& session) {
  return fill(app.add_subcommand(std::make_shared<LogGroup>(app, log)), commands, session);
}

}  // namespace annalctl
