// "annalctl event add": stores one event.
#include <CLI/CLI.hpp>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/entry_options.h"
#include "tools/annalctl/arguments/time_text.h"
#include "tools/annalctl/event/commands.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/event/record.h"
#include "tools/annalctl/log/level.h"
#include "tools/annalctl/log/result.h"

namespace annalctl::event {

namespace {

constexpr char kFooter[] =
    "Put a message that begins with '-' after '--'; '-' alone reads it from standard\n"
    "input. A TAB or line end in a message becomes a blank. Without --ip and\n"
    "--client-app the event counts as one of the appliance itself.\n"
    "\n"
    "Examples:\n"
    "  annalctl event add 'fan 2 stopped' --type error --app hardware --category fan\n"
    "  annalctl event add 'logged in' --user admin --ip 10.0.0.5 --time '2026-11-21 10:00:00'\n"
    "  annalctl event add --time @1795255200 -- '--- maintenance begins ---'";

struct Arguments {
  std::vector<std::string> texts{kTextFields.size()};
  std::optional<unsigned> level;
  std::string time;
};

EventRecord record_of_arguments(const Arguments& arguments) {
  EventRecord record{};
  record.event_type = static_cast<std::int32_t>(arguments.level.value_or(0));
  for (std::size_t i = 0; i < kTextFields.size(); ++i) {
    set_text(&record, kTextFields[i], arguments.texts[i]);
  }
  if (const auto seconds = seconds_from_option(arguments.time)) {
    record.event_timet = storable_time(*seconds);
  }
  return record;
}

int run_add(const Arguments& arguments) {
  EventRecord record = record_of_arguments(arguments);
  if (!check_log_exists(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "store the event", Purpose::kWriting};
  return report(call, annal_event_add_msgid_ex3(&record));
}

}  // namespace

void add_add(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("add", "Store one event; says nothing when it is stored");
  const auto arguments = std::make_shared<Arguments>();
  command->footer(kFooter);
  add_choice(*command, "--type", arguments->level, kLevels, "Level (default: information)");
  add_time_option(*command, arguments->time);
  add_text_options(*command, kTextFields, arguments->texts);
  command->callback([arguments, &session] {
    take_standard_input(kTextFields, arguments->texts);
    session.status = run_add(*arguments);
  });
}

}  // namespace annalctl::event
