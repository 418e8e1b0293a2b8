#include <limits>
#include <memory>

#include "Corix_annal.h"
#include "tools/confirm.h"
#include "tools/event/commands.h"
#include "tools/event/model.h"
#include "tools/result.h"

namespace annalctl::event {

namespace {

// The library takes any number of 0 or less for its own default. Where that is no documented choice, nobody who types
// one means it.
CLI::Range at_least(int least) {
  return {least, std::numeric_limits<int>::max()};
}

struct Limits {
  int limit = 0;
  int batch = 0;
};

int run_create(const Limits& limits) {
  const Call call{kLog, "create the event log", Purpose::kCreating};
  return report(call, annal_event_create_tbl(limits.limit, limits.batch));
}

int run_trim(int keep) {
  if (!log_is_there(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "trim the event log", Purpose::kWriting};
  return report(call, annal_event_del_logfull_over_size(keep));
}

int run_flush(bool yes) {
  if (!log_is_there(kLog)) {
    return kFailure;
  }
  if (!yes && !confirmed("Delete all events of /etc/logs/event.log?")) {
    complain("nothing was deleted");
    return kFailure;
  }
  const Call call{kLog, "delete all events", Purpose::kWriting};
  return report(call, annal_event_flush_tbl());
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
  CLI::App* const command = commands.add_subcommand("create", "Create the log with its size limit");
  const auto limits = std::make_shared<Limits>();
  command->footer("Examples:\n  annalctl event create\n  annalctl event create --limit 50000 --batch 100");
  command->add_option("--limit", limits->limit, "Keep at most so many events; 0, as without it, means 100000")
      ->type_name("N")
      ->check(at_least(0));
  command
      ->add_option("--batch", limits->batch,
                   "So many of the oldest go at once when the log is full; 0, as without it, means 1")
      ->type_name("N")
      ->check(at_least(0));
  command->callback([limits, &program] { program.status = run_create(*limits); });
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
  CLI::App* const command = commands.add_subcommand("flush", "Delete all events and keep the log");
  const auto yes = std::make_shared<bool>(false);
  command->footer(
      "Asks first when standard input is a terminal, and goes ahead when it is none.\n"
      "\n"
      "Examples:\n"
      "  annalctl event flush\n"
      "  annalctl event flush --yes");
  command->add_flag("--yes,-y", *yes, "Do not ask");
  command->callback([yes, &program] { program.status = run_flush(*yes); });
}

void add_migrate(CLI::App& commands, Program& program) {
  CLI::App* const command =
      commands.add_subcommand("migrate", "Add the columns that the log of an earlier release lacks");
  command->footer("Changes nothing in a log that has them all.");
  command->callback([&program] { program.status = run_migrate(); });
}

}  // namespace annalctl::event
