// Builds the new log for salvaged rows.
#include "tools/annalctl/rescue/new_log.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

namespace annalctl {

namespace {

// Until the file has its name only this process needs it, and a journal would be one more file to leave behind.
constexpr char kSettings[] = "PRAGMA page_size = {}; PRAGMA journal_mode = MEMORY; PRAGMA synchronous = OFF; BEGIN";

bool is_literal(std::string_view text) {
  constexpr std::string_view kDigits = "0123456789";
  const std::string_view number = text.substr(text.starts_with('-') ? 1 : 0);
  const bool quoted = text.size() > 1 && text.front() == '\'' && text.back() == '\'';
  return quoted || (!number.empty() && number.find_first_not_of(kDigits) == std::string_view::npos);
}

}  // namespace

NewLog::NewLog(const Log& log, const std::string& path)
    : log_(log), database_(path, SQLITE_OPEN_READWRITE), blueprint_(make_blueprint(log.usual_limit, 1)) {
  run(fmt::format(kSettings, blueprint_.page_size));
  make("table", [](int /*percent*/) {});
  look_up_.emplace(database_, fmt::format("SELECT 1 FROM {} WHERE rowid = ?", log_.table));
}

std::vector<std::int64_t> NewLog::ids() const {
  std::vector<std::int64_t> all;
  SqliteStatement ids(database_, fmt::format("SELECT rowid FROM {} ORDER BY rowid", log_.table));
  while (ids.next()) {
    all.push_back(ids.integer(0));
  }
  if (!ids.ended()) {
    fail();
  }
  return all;
}

void NewLog::run(const std::string& statements) const {
  if (!database_.run(statements)) {
    fail();
  }
}

bool NewLog::store(SqliteStatement& insert) {
  if (insert.next() || !insert.ended()) {
    fail();
  }
  const int stored = sqlite3_changes(database_.handle());
  rows_ += stored;
  sqlite3_reset(insert.handle());
  return stored > 0;
}

bool NewLog::has(std::int64_t id) {
  sqlite3_bind_int64(look_up_->handle(), 1, id);
  const bool found = look_up_->next();
  sqlite3_reset(look_up_->handle());
  return found;
}

std::string NewLog::default_of(std::string_view column) const {
  SqliteStatement columns(database_, fmt::format("PRAGMA table_info({})", log_.table));
  while (columns.next()) {
    if (columns.text(1) == column) {
      const std::string text = columns.text(4);
      return text.empty() ? "NULL" : is_literal(text) ? text : "''";
    }
  }
  fail();
}

void NewLog::raise_last_id(std::int64_t id) const {
  run(
      fmt::format("UPDATE sqlite_sequence SET seq = MAX(seq, {0}) WHERE name = '{1}'; INSERT INTO sqlite_sequence "
                  "SELECT '{1}', {0} WHERE NOT EXISTS (SELECT 1 FROM sqlite_sequence WHERE name = '{1}')",
                  id, log_.table));
}

void NewLog::finish(int limit, int batch, const std::function<void(int)>& tell) {
  constexpr int kIndexed = 70;
  constexpr int kCommitted = 80;
  make("index", [&tell](int percent) { tell(percent * kIndexed / 100); });
  blueprint_ = make_blueprint(limit, batch);
  make("trigger", [](int /*percent*/) {});
  run("COMMIT");
  tell(kCommitted);
  SqliteStatement check(database_, "PRAGMA integrity_check");
  if (!check.next() || check.text(0) != "ok") {
    throw RescueFailure("the new file is not sound");
  }
}

void NewLog::fail() const {
  throw RescueFailure(fmt::format("the new file cannot be written: {}", database_.message()));
}

Blueprint NewLog::make_blueprint(int limit, int batch) const {
  std::optional<Blueprint> blueprint = blueprint_of(log_, limit, batch);
  if (!blueprint) {
    throw RescueFailure("the library's schema is not available: this SQLite keeps no database in memory");
  }
  return std::move(*blueprint);
}

void NewLog::make(std::string_view type, const std::function<void(int)>& tell) const {
  int done = 0;
  for (const SchemaObject& object : blueprint_.objects) {
    const bool of_sqlite = object.text.empty() || object.name.starts_with("sqlite_");
    if (object.type == type && !of_sqlite) {
      run(object.text);
    }
    tell(++done * 100 / static_cast<int>(blueprint_.objects.size()));
  }
}

}  // namespace annalctl
