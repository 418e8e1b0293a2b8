// Uses SQLite directly where the library has no function: for the state of a file and the rows of a damaged one.
#pragma once

#include <sqlite3.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace annalctl {

class SqliteDatabase {
 public:
  // flags: SQLite's for opening. If the file cannot be opened, every statement fails with that error.
  SqliteDatabase(const std::string& name, int flags);

  [[nodiscard]] sqlite3* handle() const { return handle_.get(); }
  [[nodiscard]] int code() const;  // of the last failure, in SQLite's extended form
  [[nodiscard]] std::string message() const;
  bool run(const std::string& statements) const;

 private:
  struct Close {
    void operator()(sqlite3* handle) const { sqlite3_close(handle); }
  };
  std::unique_ptr<sqlite3, Close> handle_;
};

// A statement and its current row. It must not outlive its database.
class SqliteStatement {
 public:
  SqliteStatement(const SqliteDatabase& database, const std::string& text);

  [[nodiscard]] bool prepared() const { return handle_ != nullptr; }
  [[nodiscard]] bool next();  // false at the end and after a failure
  // Place 1 is the first. Values stay bound when the statement is reset; a text is not copied.
  void bind(int place, std::int64_t value) const { sqlite3_bind_int64(handle_.get(), place, value); }
  void bind(int place, const std::string& text) const;
  void reset();  // ready for the next run, with nothing locked
  [[nodiscard]] bool ended() const { return code_ == SQLITE_DONE; }
  [[nodiscard]] sqlite3_stmt* handle() const { return handle_.get(); }
  [[nodiscard]] std::int64_t integer(int place) const { return sqlite3_column_int64(handle_.get(), place); }
  [[nodiscard]] std::string text(int place) const;  // empty for NULL

 private:
  struct Finalize {
    void operator()(sqlite3_stmt* handle) const { sqlite3_finalize(handle); }
  };
  std::unique_ptr<sqlite3_stmt, Finalize> handle_;
  int code_;
};

// From now on records SQLite's errors, the library's included, whose codes do not tell them. Call this before the first
// database is opened.
void remember_failures();

// The code, in its extended form, of the last failure since then.
[[nodiscard]] std::optional<int> failure_since(std::chrono::steady_clock::time_point begun);

// A name, quoted for a statement.
[[nodiscard]] std::string quoted_name(const std::string& name);

// Opens the file as it is, without a lock and ignoring its journal. Only for files that no other program changes.
[[nodiscard]] std::string immutable_name(const std::string& path);

}  // namespace annalctl
