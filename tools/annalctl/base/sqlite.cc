// Thin owners of SQLite's handles.
#include "tools/annalctl/base/sqlite.h"

#include <fmt/format.h>

#include <string_view>

namespace annalctl {

namespace {

struct Remembered {
  int code = SQLITE_OK;
  std::chrono::steady_clock::time_point time;
};
Remembered& remembered() {
  static Remembered failure;
  return failure;
}

// Codes that do not mean a failure of the file, or that the holder of the lock explains.
bool is_worth_remembering(int code) {
  constexpr int kPrimary = 0xFF;
  switch (code & kPrimary) {
    case SQLITE_OK:
    case SQLITE_NOTICE:
    case SQLITE_WARNING:
    case SQLITE_SCHEMA:
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_INTERRUPT:
    case SQLITE_NOMEM:
      return false;
    default:
      return true;
  }
}

void remember(void* /*context*/, int code, const char* /*message*/) {
  if (is_worth_remembering(code)) {
    remembered() = {code, std::chrono::steady_clock::now()};
  }
}

}  // namespace

void remember_failures() {
  static_cast<void>(sqlite3_config(SQLITE_CONFIG_LOG, remember, nullptr));
}

std::optional<int> failure_since(std::chrono::steady_clock::time_point begun) {
  return remembered().code != SQLITE_OK && remembered().time >= begun ? std::optional(remembered().code) : std::nullopt;
}

SqliteDatabase::SqliteDatabase(const std::string& name, int flags) {
  sqlite3* handle = nullptr;
  static_cast<void>(sqlite3_open_v2(name.c_str(), &handle, flags, nullptr));
  handle_.reset(handle);
  // The schema of a damaged or forged file must not be able to call functions.
  sqlite3_db_config(handle, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
}

int SqliteDatabase::code() const {
  return sqlite3_extended_errcode(handle());
}

std::string SqliteDatabase::message() const {
  return sqlite3_errmsg(handle());
}

bool SqliteDatabase::run(const std::string& statements) const {
  return sqlite3_exec(handle(), statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
}

SqliteStatement::SqliteStatement(const SqliteDatabase& database, const std::string& text) {
  sqlite3_stmt* handle = nullptr;
  code_ = sqlite3_prepare_v2(database.handle(), text.c_str(), -1, &handle, nullptr);
  handle_.reset(handle);
}

bool SqliteStatement::next() {
  if (prepared()) {
    code_ = sqlite3_step(handle());
  }
  return code_ == SQLITE_ROW;
}

void SqliteStatement::bind(int place, const std::string& text) const {
  sqlite3_bind_text64(handle(), place, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
}

void SqliteStatement::reset() {
  sqlite3_reset(handle());
  code_ = prepared() ? SQLITE_OK : code_;
}

std::string SqliteStatement::text(int place) const {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(handle(), place));
  return text == nullptr ? std::string() : std::string(text);
}

std::string quoted_name(const std::string& name) {
  std::string quoted = "\"";
  for (const char c : name) {
    quoted.append(c == '"' ? 2 : 1, c);
  }
  return quoted + "\"";
}

std::string immutable_name(const std::string& path) {
  constexpr std::string_view kMeaning = "%?#";
  std::string name = "file:";
  for (const char c : path) {
    name += kMeaning.find(c) == std::string_view::npos ? std::string(1, c) : fmt::format("%{:02x}", c);
  }
  return name + "?immutable=1";
}

}  // namespace annalctl
