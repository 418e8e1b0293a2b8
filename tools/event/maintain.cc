#include <memory>

#include "Corix_annal.h"
#include "tools/event/commands.h"
#include "tools/event/model.h"
#include "tools/maintenance.h"
#include "tools/number.h"
#include "tools/result.h"

namespace annalctl::event {

namespace {

constexpr Maintenance kMaintenance{
    .log = kLog,
    .usual_limit = 100000,
    .create = annal_event_create_tbl,
    .flush = annal_event_flush_tbl,
};

int run_trim(int keep) {
  if (!log_is_there(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "trim the event log", Purpose::kWriting};
  return report(call, annal_event_del_logfull_over_size(keep));
}

int run_migrate() {
  if (!log_is_there(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "bring the event log up to date", Purpose::kMigrating};
  return report(call, annal_event_modify_tbl());
}

}  // namespace

void add_create(CLI::App& commands, Program& program) {
  add_create_command(commands, program, kMaintenance);
}

void add_trim(CLI::App& commands, Program& program) {
  CLI::App* const command = commands.add_subcommand("trim", "Delete the oldest events until so many are left");
  const auto keep = std::make_shared<int>(0);
  command->footer("Example:\n  annalctl event trim 1000");
  command->add_option("KEEP", *keep, "How many to keep, 1 or more ('flush' deletes all)")
      ->required()
      ->check(at_least(1));
  command->callback([keep, &program] { program.status = run_trim(*keep); });
}

void add_flush(CLI::App& commands, Program& program) {
  add_flush_command(commands, program, kMaintenance);
}

void add_migrate(CLI::App& commands, Program& program) {
  CLI::App* const command =
      commands.add_subcommand("migrate", "Add the columns that the log of an earlier release lacks");
  command->footer("Changes nothing in a log that has them all.");
  command->callback([&program] { program.status = run_migrate(); });
}

}  // namespace annalctl::event
