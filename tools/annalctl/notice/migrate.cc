// "annalctl notice migrate": adds the column that a log lacks, or recreates a log that lacks others, if the user
// agrees.
#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/base/confirm.h"
#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/notice/commands.h"
#include "tools/annalctl/notice/model.h"

namespace annalctl::notice {

namespace {

constexpr char kMigrateFooter[] =
    "Adds the title to a log that lacks only that. A log that lacks another column is deleted with all its notices\n"
    "and recreated, for at most 10000: this asks first, and needs --yes if standard input is not a terminal.\n"
    "Changes nothing in a log that has all columns.\n"
    "\n"
    "Examples:\n"
    "  annalctl notice migrate\n"
    "  annalctl notice migrate --yes";

constexpr const char* kTitle = "title";

constexpr int kWaitMilliseconds = 20000;

// The columns that the table lacks, compared as SQLite does, whatever their case; nothing if they could not all be
// read. The library is not asked: it takes a column that it cannot read, for lack of memory or on a damaged page, as
// missing, and its migration then deletes the log.
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

bool may_recreate(const std::vector<std::string>& missing, int notices) {
  complain(
      fmt::format("the notice log lacks {}, and can only be deleted and recreated, for at most {} notices: what it "
                  "holds now would be lost (notices: {})",
                  fmt::join(missing, ", "), kLog.usual_limit, notices));
  const std::optional<bool> answer = answer_to(fmt::format("Delete {} and recreate it?", kLog.path));
  if (!answer) {
    complain("nothing was changed: run this at a terminal, or with --yes if the notices may go");
  } else if (!*answer) {
    complain("nothing was changed");
  }
  return answer.value_or(false);
}

// The library's code says nothing here: it reports a failure if the new table has its title from the start.
int recreate(const Call& call) {
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
    // The library's own migration would delete the file if it is empty, or locked at that moment.
    constexpr int kText = 0;
    return report(call, annal_notice_table_add_column(kTitle, kText, ""));
  }
  return yes || may_recreate(*missing, notices) ? recreate(call) : static_cast<int>(kFailure);
}

}  // namespace

void add_migrate(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("migrate", "Bring a log from an earlier release up to date");
  const auto yes = std::make_shared<bool>(false);
  command->footer(kMigrateFooter);
  command->add_flag("--yes,-y", *yes, "Do not ask");
  command->callback([yes, &session] { session.status = run_migrate(*yes); });
}

}  // namespace annalctl::notice
