// Creating, ageing, emptying, migrating, checking and salvaging the notice log.
#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/base/confirm.h"
#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/changes.h"
#include "tools/annalctl/maintenance/compact.h"
#include "tools/annalctl/maintenance/info.h"
#include "tools/annalctl/maintenance/keep.h"
#include "tools/annalctl/maintenance/limit.h"
#include "tools/annalctl/maintenance/maintenance.h"
#include "tools/annalctl/notice/commands.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/query/listing.h"
#include "tools/annalctl/rescue/check_command.h"
#include "tools/annalctl/rescue/salvage.h"

namespace annalctl::notice {

namespace {

constexpr char kMigrateFooter[] =
    "A log that lacks the title alone gets it added. One that lacks any other column is deleted with all its notices\n"
    "and created anew, for at most 10000: that is asked first, and needs --yes when standard input is no terminal.\n"
    "Changes nothing in a log that has all columns.\n"
    "\n"
    "Examples:\n"
    "  annalctl notice migrate\n"
    "  annalctl notice migrate --yes";

constexpr Maintenance kMaintenance{
    .log = kLog,
    .create = annal_notice_create_tbl,
    .flush = annal_notice_flush_tbl,
};

constexpr const char* kTitle = "title";

constexpr int kWaitMilliseconds = 20000;

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
  return delete_and_say(call, session, [&options] { return AnnalNoticeDellogByClientTime(options.days); });
}

// The columns that the table lacks, whose names are the same to SQLite in any case; nothing when it could not be read
// to its end. The library is not asked: it takes a column that it cannot read, for want of memory or on a damaged page,
// for one that is missing, and its migration then deletes the log.
std::optional<std::vector<std::string>> missing_columns() {
  const SqliteDatabase database(kLog.path, SQLITE_OPEN_READWRITE);
  sqlite3_busy_timeout(database.handle(), kWaitMilliseconds);
  SqliteStatement columns(database, fmt::format("PRAGMA table_info({})", kLog.table));
  std::vector<std::string> there;
  while (columns.next()) {
    constexpr int kName = 1;
    there.push_back(columns.text(kName));
    if (there.back().empty()) {
      return {};
    }
  }
  if (!columns.ended() || there.empty()) {
    return {};
  }
  std::vector<std::string> missing;
  for (const Column& column : kLog.columns) {
    if (std::none_of(there.begin(), there.end(),
                     [&column](const std::string& name) { return sqlite3_stricmp(name.c_str(), column.name) == 0; })) {
      missing.emplace_back(column.name);
    }
  }
  return missing;
}

bool may_start_anew(const std::vector<std::string>& missing, int notices) {
  complain(
      fmt::format("the notice log lacks {}, and can only be deleted and created anew, for at most {} notices: what it "
                  "holds now would be lost (notices: {})",
                  fmt::join(missing, ", "), kLog.usual_limit, notices));
  const std::optional<bool> answer = answer_to(fmt::format("Delete {} and create it anew?", kLog.path));
  if (!answer) {
    complain("nothing was changed: run this at a terminal, or with --yes if the notices may go");
  } else if (!*answer) {
    complain("nothing was changed");
  }
  return answer.value_or(false);
}

// The code says nothing here: it is that of a failure whenever the new table has its title from the beginning.
int start_anew(const Call& call) {
  const int code = AnnalNoticeModifyTbl();
  const std::optional<std::vector<std::string>> missing = missing_columns();
  return missing && missing->empty() ? kSuccess : report(call, code);
}

int run_migrate(bool yes) {
  if (!check_log_exists(kLog)) {
    return kFailure;
  }
  const Call call{kLog, "bring the notice log up to date", Purpose::kMigrating};
  const int notices = kLog.count();
  if (notices < 0) {
    return report(call, notices);
  }
  const std::optional<std::vector<std::string>> missing = missing_columns();
  if (!missing) {
    return report(call, ANNAL_QUERY_FAILED, "its columns cannot be read (run 'annalctl notice check')");
  }
  if (missing->empty()) {
    complain("the notice log has all columns: nothing was changed");
    return kSuccess;
  }
  if (*missing == std::vector<std::string>{kTitle}) {
    // Not left to the library's own migration, which deletes the file when it is empty, or locked in that moment.
    constexpr int kText = 0;
    return report(call, annal_notice_table_add_column(kTitle, kText, ""));
  }
  return yes || may_start_anew(*missing, notices) ? start_anew(call) : static_cast<int>(kFailure);
}

}  // namespace

void add_create(CLI::App& commands, Session& session) {
  add_create_command(commands, session, kMaintenance);
}

void add_age(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("age", "Delete the notices that are older than so many days");
  const auto options = std::make_shared<AgeOptions>();
  command->footer(
      "A day has 24 hours, counted back from now. A log that is locked is not waited for.\n"
      "\n"
      "Example:\n"
      "  annalctl notice age 30");
  command->add_option("DAYS", options->days, "How many days to keep, 1 or more ('flush' deletes all)")
      ->required()
      ->check(at_least(1));
  add_dry_run(*command, options->dry_run);
  command->callback([options, &session] { session.status = run_age(*options, session); });
}

void add_flush(CLI::App& commands, Session& session) {
  add_flush_command(commands, session, kMaintenance);
}

void add_migrate(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("migrate", "Bring the log of an earlier release up to date");
  const auto yes = std::make_shared<bool>(false);
  command->footer(kMigrateFooter);
  command->add_flag("--yes,-y", *yes, "Do not ask");
  command->callback([yes, &session] { session.status = run_migrate(*yes); });
}

void add_check(CLI::App& commands, Session& session) {
  add_check_command(commands, session, kLog);
}

void add_salvage(CLI::App& commands, Session& session) {
  add_salvage_command(commands, session, kLog);
}

void add_info(CLI::App& commands, Session& session) {
  add_info_command(commands, session, kLog);
}

void add_limit(CLI::App& commands, Session& session) {
  add_limit_command(commands, session, kLog);
}

void add_keep(CLI::App& commands, Session& session) {
  add_keep_command(commands, session, kLog);
}

void add_compact(CLI::App& commands, Session& session) {
  add_compact_command(commands, session, kLog);
}

}  // namespace annalctl::notice
