#include "tools/maintenance.h"

#include <fmt/format.h>

#include <memory>

#include "tools/confirm.h"
#include "tools/number.h"
#include "tools/result.h"

namespace annalctl {

namespace {

struct Limits {
  int limit = 0;
  int batch = 0;
};

int run_create(const Maintenance& maintenance, const Limits& limits) {
  const Log& log = maintenance.log;
  const Call call{log, fmt::format("create the {} log", log.name), Purpose::kCreating};
  return report(call, maintenance.create(limits.limit, limits.batch));
}

int run_flush(const Maintenance& maintenance, bool yes) {
  const Log& log = maintenance.log;
  if (!log_is_there(log)) {
    return kFailure;
  }
  if (!yes && !confirmed(fmt::format("Delete all {} of {}?", log.entries, log.path))) {
    complain("nothing was deleted");
    return kFailure;
  }
  const Call call{log, fmt::format("delete all {}", log.entries), Purpose::kWriting};
  return report(call, maintenance.flush());
}

}  // namespace

void add_create_command(CLI::App& commands, Program& program, const Maintenance& maintenance) {
  const Log& log = maintenance.log;
  CLI::App* const command = commands.add_subcommand("create", "Create the log with its size limit");
  const auto limits = std::make_shared<Limits>();
  command->footer(fmt::format("Examples:\n  annalctl {0}{1} create\n  annalctl {0}{1} create --limit 50000 --batch 100",
                              log.name, log.options));
  command
      ->add_option(
          "--limit", limits->limit,
          fmt::format("Keep at most so many {}; 0, as without it, means {}", log.entries, maintenance.usual_limit))
      ->type_name("N")
      ->check(at_least(0));
  command
      ->add_option("--batch", limits->batch,
                   "So many of the oldest go at once when the log is full; 0, as without it, means 1")
      ->type_name("N")
      ->check(at_least(0));
  command->callback([limits, &program, &maintenance] { program.status = run_create(maintenance, *limits); });
}

void add_flush_command(CLI::App& commands, Program& program, const Maintenance& maintenance) {
  const Log& log = maintenance.log;
  CLI::App* const command =
      commands.add_subcommand("flush", fmt::format("Delete all {} and keep the log", log.entries));
  const auto yes = std::make_shared<bool>(false);
  command->footer(
      fmt::format("Asks first when standard input is a terminal, and goes ahead when it is none.\n"
                  "\n"
                  "Examples:\n"
                  "  annalctl {0}{1} flush\n"
                  "  annalctl {0}{1} flush --yes",
                  log.name, log.options));
  command->add_flag("--yes,-y", *yes, "Do not ask");
  command->callback([yes, &program, &maintenance] { program.status = run_flush(maintenance, *yes); });
}

}  // namespace annalctl
