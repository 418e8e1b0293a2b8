#include "tools/annalctl/maintenance/maintenance.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>

#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/base/confirm.h"
#include "tools/annalctl/log/limits.h"
#include "tools/annalctl/log/result.h"

namespace annalctl {

namespace {

struct Limits {
  int limit = 0;
  int batch = 0;
};

int run_create(const Maintenance& maintenance, const Limits& limits) {
  const Log& log = maintenance.log;
  const int limit = limits.limit > 0 ? limits.limit : log.usual_limit;
  const int batch = limits.batch > 0 ? limits.batch : usual_batch(limit);
  const Call call{log, fmt::format("create the {} log", log.name), Purpose::kCreating};
  return report(call, maintenance.create(limit, batch));
}

int run_flush(const Maintenance& maintenance, bool yes) {
  const Log& log = maintenance.log;
  if (!check_log_exists(log)) {
    return kFailure;
  }
  if (!yes && !confirmed(fmt::format("Delete all {} of {}?", log.entries, log.path))) {
    complain("nothing was deleted");
    return kFailure;
  }
  const Call call{log, fmt::format("delete all {}", log.entries), Purpose::kWriting};
  return report(call, maintenance.flush());
}

int run_trim(const Log& log, int (*trim)(int keep) noexcept, int keep) {
  if (!check_log_exists(log)) {
    return kFailure;
  }
  const Call call{log, fmt::format("trim the {} log", log.name), Purpose::kWriting};
  return report(call, trim(keep));
}

int run_migrate(const Log& log, int (*migrate)() noexcept) {
  if (!check_log_exists(log)) {
    return kFailure;
  }
  const Call call{log, fmt::format("bring the {} log up to date", log.name), Purpose::kMigrating};
  return report(call, migrate());
}

}  // namespace

void add_create_command(CLI::App& commands, Session& session, const Maintenance& maintenance) {
  const Log& log = maintenance.log;
  CLI::App* const command = commands.add_subcommand("create", "Create the log with its size limit");
  const auto limits = std::make_shared<Limits>();
  command->footer(fmt::format("Examples:\n  annalctl {0}{1} create\n  annalctl {0}{1} create --limit 50000 --batch 100",
                              log.name, log.options));
  command
      ->add_option("--limit", limits->limit,
                   fmt::format("Keep at most so many {}; 0, as without it, means {}", log.entries, log.usual_limit))
      ->type_name("N")
      ->check(at_least(0));
  command
      ->add_option("--batch", limits->batch,
                   "So many of the oldest go at once when the log is full; 0, as without it, means 1 % of the limit")
      ->type_name("N")
      ->check(at_least(0));
  command->callback([limits, &session, &maintenance] { session.status = run_create(maintenance, *limits); });
}

void add_flush_command(CLI::App& commands, Session& session, const Maintenance& maintenance) {
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
  command->callback([yes, &session, &maintenance] { session.status = run_flush(maintenance, *yes); });
}

void add_trim_command(CLI::App& commands, Session& session, const Log& log, int (*trim)(int keep) noexcept) {
  CLI::App* const command =
      commands.add_subcommand("trim", fmt::format("Delete the oldest {} until so many are left", log.entries));
  const auto keep = std::make_shared<int>(0);
  command->footer(fmt::format("Example:\n  annalctl {} trim 1000", log.name));
  command->add_option("KEEP", *keep, "How many to keep, 1 or more ('flush' deletes all)")
      ->required()
      ->check(at_least(1));
  command->callback([keep, &session, &log, trim] { session.status = run_trim(log, trim, *keep); });
}

void add_migrate_command(CLI::App& commands, Session& session, const Log& log, int (*migrate)() noexcept) {
  CLI::App* const command =
      commands.add_subcommand("migrate", "Add the columns that the log of an earlier release lacks");
  command->footer("Changes nothing in a log that has them all.");
  command->callback([&session, &log, migrate] { session.status = run_migrate(log, migrate); });
}

}  // namespace annalctl
