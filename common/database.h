// The two SQLite handles that need an owner: a connection and a prepared statement.
#pragma once

#include <sqlite3.h>

#include <cstdint>

#include "Corix_annal.h"
#include "common/not_cancelled.h"
#include "common/statement.h"

namespace annal {

class Database {
 public:
  Database(const char* path, Wait wait) noexcept;
  ~Database();
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  [[nodiscard]] bool opened() const noexcept { return opened_; }

  // Runs one text of one or more statements to its end; false when SQLite reports anything but success.
  [[nodiscard]] bool execute(const char* sql, annal_row_callback callback, void* context) const noexcept;

  // The id of the last inserted row, unaffected by what a trigger has inserted or deleted since.
  [[nodiscard]] std::int64_t last_row_id() const noexcept;

 private:
  friend class PreparedStatement;
  const NotCancelled not_cancelled_;  // first, so that it outlives the handle
  sqlite3* handle_ = nullptr;
  bool opened_ = false;
};

class PreparedStatement {
 public:
  PreparedStatement(const Database& database, const char* sql) noexcept;
  ~PreparedStatement();
  PreparedStatement(const PreparedStatement&) = delete;
  PreparedStatement& operator=(const PreparedStatement&) = delete;

  [[nodiscard]] bool prepared() const noexcept { return handle_ != nullptr; }

  // Parameters count from 1. A text is not copied: it must not change until the statement is reset.
  [[nodiscard]] bool bind(int parameter, int value) const noexcept;
  [[nodiscard]] bool bind(int parameter, const char* text) const noexcept;

  // Ready for the next step; values stay bound.
  void reset() const noexcept;

  // SQLITE_ROW, SQLITE_DONE or an error. A statement that could not be prepared answers an error.
  [[nodiscard]] int step() const noexcept;
  [[nodiscard]] int integer(int column) const noexcept;
  [[nodiscard]] const char* text(int column) const noexcept;  // null for NULL and when memory ran out

 private:
  sqlite3_stmt* handle_ = nullptr;
};

}  // namespace annal
