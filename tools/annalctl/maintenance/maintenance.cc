// The commands that create, empty, trim and migrate a log.
#include "tools/annalctl/maintenance/maintenance.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/base/confirm.h"
#include "tools/annalctl/log/limits.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/changes.h"
#include "tools/annalctl/query/listing.h"

namespace annalctl {

namespace {

struct Limits {
  int limit = 0;
  int batch = 0;
};

int run_create(const Log& log, int (*create)(int limit, int batch) noexcept, const Limits& limits) {
  const int limit = limits.limit > 0 ? limits.limit : log.usual_limit;
  const int batch = limits.batch > 0 ? limits.batch : usual_batch(limit);
  require_some_left(limit, batch);
  const Call call{log, fmt::format("create the {} log", log.name), Purpose::kCreating};
  return report(call, create(limit, batch));
}

// The number of all entries, or a negative number after a reported failure.
std::int64_t all_entries(const Log& log) {
  const Call call{log, fmt::format("count the {}", log.entries), Purpose::kReading};
  try {
    return Reader(log).count({});
  } catch (const ReadFailure& failure) {
    static_cast<void>(report_failure(call, failure));
  }
  return -1;
}

int look_only(const Log& log, std::int64_t kept, Session& session) {
  const std::int64_t entries = all_entries(log);
  if (entries < 0) {
    return kFailure;
  }
  say_deleted(std::max<std::int64_t>(entries - kept, 0), log, Deed::kOnlyLooked, session);
  return kSuccess;
}

struct FlushOptions {
  bool yes = false;
  bool dry_run = false;
};

struct TrimOptions {
  int keep = 0;
  bool dry_run = false;
};

int run_flush(const Log& log, int (*flush)() noexcept, const FlushOptions& options, Session& session) {
  if (!check_log_exists(log)) {
    return kFailure;
  }
  if (options.dry_run) {
    return look_only(log, 0, session);
  }
  if (!options.yes && !confirmed(fmt::format("Delete all {} of {}?", log.entries, log.path))) {
    complain("nothing was deleted");
    return kFailure;
  }
  const Call call{log, fmt::format("delete all {}", log.entries), Purpose::kWriting};
  return delete_and_say(call, {"flush", true}, session, flush);
}

int run_trim(const Log& log, int (*trim)(int keep) noexcept, const TrimOptions& options, Session& session) {
  if (!check_log_exists(log)) {
    return kFailure;
  }
  if (options.dry_run) {
    return look_only(log, options.keep, session);
  }
  const Call call{log, fmt::format("trim the {} log", log.name), Purpose::kWriting};
  return delete_and_say(call, {"trim"}, session, [trim, &options] { return trim(options.keep); });
}

int run_migrate(const Log& log, int (*migrate)() noexcept) {
  if (!check_log_exists(log)) {
    return kFailure;
  }
  const Call call{log, fmt::format("bring the {} log up to date", log.name), Purpose::kMigrating};
  return report(call, migrate());
}

}  // namespace

void add_create_command(CLI::App& commands, Session& session, const Log& log,
                        int (*create)(int limit, int batch) noexcept) {
  CLI::App* const command = commands.add_subcommand("create", "Create the log with its size limit");
  const auto limits = std::make_shared<Limits>();
  command->footer(fmt::format("Examples:\n  annalctl {0}{1} create\n  annalctl {0}{1} create --limit 50000 --batch 100",
                              log.name, log.options));
  command
      ->add_option("--limit", limits->limit,
                   fmt::format("Keep at most N {}; 0, the default, means {}", log.entries, log.usual_limit))
      ->type_name("N")
      ->check(at_least(0));
  command
      ->add_option("--batch", limits->batch,
                   "Delete the oldest N at once when the log is full; 0, the default, means 1 % of the limit")
      ->type_name("N")
      ->check(at_least(0));
  command->callback([limits, &session, &log, create] { session.status = run_create(log, create, *limits); });
}

void add_flush_command(CLI::App& commands, Session& session, const Log& log, int (*flush)() noexcept) {
  CLI::App* const command =
      commands.add_subcommand("flush", fmt::format("Delete all {} and keep the log", log.entries));
  const auto options = std::make_shared<FlushOptions>();
  command->footer(
      fmt::format("Asks first if standard input is a terminal, and proceeds if it is not.\n"
                  "\n"
                  "Examples:\n"
                  "  annalctl {0}{1} flush\n"
                  "  annalctl {0}{1} flush --yes",
                  log.name, log.options));
  command->add_flag("--yes,-y", options->yes, "Do not ask");
  add_dry_run(*command, options->dry_run);
  command->callback([options, &session, &log, flush] { session.status = run_flush(log, flush, *options, session); });
}

void add_trim_command(CLI::App& commands, Session& session, const Log& log, int (*trim)(int keep) noexcept) {
  CLI::App* const command =
      commands.add_subcommand("trim", fmt::format("Delete the oldest {} and keep the newest", log.entries));
  const auto options = std::make_shared<TrimOptions>();
  command->footer(fmt::format("Example:\n  annalctl {} trim 1000", log.name));
  command->add_option("KEEP", options->keep, "How many to keep, 1 or more ('flush' deletes all)")
      ->required()
      ->check(at_least(1));
  add_dry_run(*command, options->dry_run);
  command->callback([options, &session, &log, trim] { session.status = run_trim(log, trim, *options, session); });
}

void add_migrate_command(CLI::App& commands, Session& session, const Log& log, int (*migrate)() noexcept) {
  CLI::App* const command =
      commands.add_subcommand("migrate", "Add the columns that a log from an earlier release lacks");
  command->footer("Changes nothing in a log that has them all.");
  command->callback([&session, &log, migrate] { session.status = run_migrate(log, migrate); });
}

}  // namespace annalctl
