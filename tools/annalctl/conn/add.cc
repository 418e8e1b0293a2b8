// "annalctl conn add": stores one connection.
#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/entry_options.h"
#include "tools/annalctl/arguments/names.h"
#include "tools/annalctl/conn/batch.h"
#include "tools/annalctl/conn/commands.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/conn/record.h"
#include "tools/annalctl/log/result.h"

namespace annalctl::conn {

namespace {

constexpr char kFooter[] =
    "Put a resource that begins with '-' after '--'. The log stamps the entry with the current time.\n"
    "The default user is System, the address 127.0.0.1 and the computer localhost: the connection counts as one of "
    "the\n"
    "appliance itself. A quote (') is stored as it is. Stores nothing in a log that is damaged or lacks columns, and\n"
    "leaves it alone.\n"
    "\n"
    "Examples:\n"
    "  annalctl conn add /share/Public/plan.odt --user ann --ip 10.0.0.5 --service 1 --action 2\n"
    "  annalctl conn add --type warning --failed --user \"o'neil\" --ip 203.0.113.7 --app sshd 'password refused'";

struct Arguments {
  std::vector<std::string> texts{kTextFields.size()};
  std::optional<unsigned> level;
  int service = 0;
  int action = 0;
  bool failed = false;
};

int run_add(const Arguments& arguments) {
  ConnRecord record{};
  record.conn_type = static_cast<std::int32_t>(arguments.level.value_or(0));
  record.conn_serv = arguments.service;
  record.conn_action = arguments.action;
  record.conn_action_result = arguments.failed ? kFailed : kSucceeded;
  for (std::size_t i = 0; i < kTextFields.size(); ++i) {
    set_text(&record, kTextFields[i], arguments.texts[i]);
  }
  if (!check_log_exists(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "store the connection", Purpose::kWriting};
  std::vector<ConnRecord> one{record};
  const Stored stored = store(one);
  return report(call, stored.code, stored.seen);
}

}  // namespace

void add_add(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("add", "Store one connection; says nothing when it is stored");
  const auto arguments = std::make_shared<Arguments>();
  command->footer(kFooter);
  add_choice(*command, "--type", arguments->level, kLevels, "Level (default: information)");
  auto* const service =
      command->add_option("--service", arguments->service, "The service's number, 0 to 12; default: 0")
          ->type_name("N")
          ->check(CLI::Range(0, static_cast<int>(kHighestService)));
  take_names(service, Named::kService);
  auto* const action = command->add_option("--action", arguments->action, "The action's number, 0 to 36; default: 0")
                           ->type_name("N")
                           ->check(CLI::Range(0, static_cast<int>(kHighestAction)));
  take_names(action, Named::kAction);
  command->add_flag("--failed", arguments->failed, "The action failed (result 13); otherwise the result is 0");
  add_text_options(*command, kTextFields, arguments->texts);
  command->callback([arguments, &session] {
    take_standard_input(kTextFields, arguments->texts);
    session.status = run_add(*arguments);
  });
}

}  // namespace annalctl::conn
