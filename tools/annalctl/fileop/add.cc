// "annalctl fileop add": stores one file operation.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/entry_options.h"
#include "tools/annalctl/arguments/names.h"
#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/base/standard_input.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/fileop/record.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/log/result.h"

namespace annalctl::fileop {

namespace {

constexpr char kFooter[] =
    "The file manager defines the codes of actions and folders. A single quote takes\n"
    "two bytes of a text, except in the description. The path '-' reads it from\n"
    "standard input.\n"
    "\n"
    "Examples:\n"
    "  annalctl fileop --db operations.db add /share/photos/a.jpg --action 4 --size 52000 --user ann --ip 10.0.0.5\n"
    "  annalctl fileop --db operations.db add /share/new --action 7 --old-path /share/old --folder 1\n"
    "  annalctl fileop --db operations.db add --action 4 -- -odd-name";

struct Arguments {
  std::vector<std::string> texts{kTextFields.size()};
  std::string path;
  std::string old_path;
  std::optional<unsigned> level;
  unsigned action = 0;
  unsigned folder = 0;
  std::int32_t size = 0;
  std::string time;
};

Operation operation_of_arguments(const Arguments& arguments) {
  Operation operation;
  operation.record.event_type = arguments.level.value_or(0);
  operation.record.event_action = arguments.action;
  operation.record.event_isFolder = arguments.folder;
  operation.record.event_filesize = arguments.size;
  operation.path = arguments.path;
  operation.old_path = arguments.old_path;
  for (std::size_t i = 0; i < kTextFields.size(); ++i) {
    operation.set_field(kTextFields[i], arguments.texts[i]);
  }
  if (const auto seconds = seconds_from_option(arguments.time)) {
    operation.set_time(*seconds);
  }
  return operation;
}

int run_add(const Arguments& arguments) {
  Operation operation = operation_of_arguments(arguments);
  if (!check_log_exists(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "store the file operation", Purpose::kWriting};
  return report(call, operation.store());
}

}  // namespace

void add_add(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("add", "Store one file operation; says nothing when it is stored");
  const auto arguments = std::make_shared<Arguments>();
  command->footer(kFooter);
  command->add_option("PATH", arguments->path, "The path of the file or folder")->type_name("TEXT")->required();
  auto* const action =
      command->add_option("--action", arguments->action, "What was done, as the file manager numbers it: 1 to 35")
          ->type_name("N")
          ->check(CLI::Range(1, 35))
          ->required();
  take_names(action, Named::kOperation);
  command->add_option("--old-path", arguments->old_path, "The path before a move or renaming")->type_name("TEXT");
  command->add_option("--folder", arguments->folder, "Folder code, 0 to 2; default: 0")
      ->type_name("N")
      ->check(CLI::Range(0, 2));
  command->add_option("--size", arguments->size, "Size in bytes, at most 2147483647; default: 0")->type_name("N");
  add_choice(*command, "--type", arguments->level, kLevels, "Level (default: information)");
  add_time_option(*command, arguments->time);
  add_text_options(*command, kTextFields, arguments->texts);
  command->callback([arguments, &session] {
    take_standard_input(arguments->path);
    session.status = run_add(*arguments);
  });
}

}  // namespace annalctl::fileop
