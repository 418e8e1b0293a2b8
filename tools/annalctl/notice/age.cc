// "annalctl notice age": deletes the notices that are older than some days.
#include <CLI/CLI.hpp>
#include <memory>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/changes.h"
#include "tools/annalctl/notice/commands.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/query/listing.h"

namespace annalctl::notice {

namespace {

struct AgeOptions {
  int days = 0;
  bool dry_run = false;
};

int say_how_many_are_older(int days, Session& session) {
  const Call call{kLog, "count the notices of that age", Purpose::kReading};
  Query older;
  older.conditions.push_back({"time < strftime('%s', 'now') - ? * 86400", {std::int64_t{days}}});
  try {
    say_deleted(Reader(kLog).count(older), kLog, Deed::kOnlyLooked, session);
  } catch (const ReadFailure& failure) {
    return report_failure(call, failure);
  }
  return kSuccess;
}

int run_age(const AgeOptions& options, Session& session) {
  if (!check_log_exists(kLog)) {
    return kFailure;
  }
  if (options.dry_run) {
    return say_how_many_are_older(options.days, session);
  }
  const Call call{kLog, "delete the notices of that age", Purpose::kWriting};
  return delete_and_say(call, {"age"}, session, [&options] { return AnnalNoticeDellogByClientTime(options.days); });
}

}  // namespace

void add_age(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("age", "Delete the notices that are older than DAYS days");
  const auto options = std::make_shared<AgeOptions>();
  command->footer(
      "A day has 24 hours, counted back from now. Does not wait for a locked log.\n"
      "\n"
      "Example:\n"
      "  annalctl notice age 30");
  command->add_option("DAYS", options->days, "How many days to keep, 1 or more ('flush' deletes all)")
      ->required()
      ->check(at_least(1));
  add_dry_run(*command, options->dry_run);
  command->callback([options, &session] { session.status = run_age(*options, session); });
}

}  // namespace annalctl::notice
