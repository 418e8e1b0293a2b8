// Thin owners of SQLite's connection and prepared statement.
#include "common/database.h"

#include <cstring>

namespace annal {

namespace {

constexpr int kBusyTimeoutMilliseconds = 20000;

constexpr int kRetries = 50;
constexpr int kPauseMilliseconds = 100;

// Tells SQLite whether to retry, given the number of retries so far.
int try_again(void* /*context*/, int retries) noexcept {
  if (retries >= kRetries) {
    return 0;
  }
  sqlite3_sleep(kPauseMilliseconds);
  return 1;
}

}  // namespace

Database::Database(const char* path, Wait wait) noexcept : opened_(sqlite3_open(path, &handle_) == SQLITE_OK) {
  if (opened_ && wait == Wait::kBusyTimeout) {
    sqlite3_busy_timeout(handle_, kBusyTimeoutMilliseconds);
  } else if (opened_ && wait == Wait::kBusyHandler) {
    sqlite3_busy_handler(handle_, &try_again, nullptr);
  }
}

// Also after a failed sqlite3_open, which still allocates a handle.
Database::~Database() {
  sqlite3_close(handle_);
}

bool Database::execute(const char* sql, annal_row_callback callback, void* context) const noexcept {
  return sqlite3_exec(handle_, sql, callback, context, nullptr) == SQLITE_OK;
}

std::int64_t Database::last_row_id() const noexcept {
  return sqlite3_last_insert_rowid(handle_);
}

PreparedStatement::PreparedStatement(const Database& database, const char* sql) noexcept {
  if (database.opened()) {
    // The result is not needed: on failure the handle stays null, and every method checks for that.
    sqlite3_prepare(database.handle_, sql, -1, &handle_, nullptr);
  }
}

PreparedStatement::~PreparedStatement() {
  sqlite3_finalize(handle_);
}

bool PreparedStatement::bind(int parameter, int value) const noexcept {
  return sqlite3_bind_int(handle_, parameter, value) == SQLITE_OK;
}

bool PreparedStatement::bind(int parameter, const char* text) const noexcept {
  const auto length = static_cast<int>(std::strlen(text));
  return sqlite3_bind_text(handle_, parameter, text, length, SQLITE_STATIC) == SQLITE_OK;
}

void PreparedStatement::reset() const noexcept {
  sqlite3_reset(handle_);
}

int PreparedStatement::step() const noexcept {
  return prepared() ? sqlite3_step(handle_) : SQLITE_ERROR;
}

int PreparedStatement::integer(int column) const noexcept {
  return sqlite3_column_int(handle_, column);
}

const char* PreparedStatement::text(int column) const noexcept {
  return reinterpret_cast<const char*>(sqlite3_column_text(handle_, column));
}

}  // namespace annal
