// The new file for a damaged log's rows, with this release's schema.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/rescue/blueprint.h"

namespace annalctl {

class RescueFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Every function throws RescueFailure.
class NewLog {
 public:
  NewLog(const Log& log, const std::string& path);

  [[nodiscard]] const SqliteDatabase& database() const { return database_; }
  [[nodiscard]] std::int64_t rows() const { return rows_; }
  [[nodiscard]] std::vector<std::int64_t> ids() const;  // in ascending order

  void run(const std::string& statements) const;

  // Stores the row that is bound to a statement; false if there is one with its id already.
  bool store(SqliteStatement& insert);

  [[nodiscard]] bool has(std::int64_t id);

  // The value of a lost column: the column's default, or an empty text if the default is today's date.
  [[nodiscard]] std::string default_of(std::string_view column) const;

  // So that the log never gives an id twice.
  void raise_last_id(std::int64_t id) const;

  // The trigger comes last, so that it deletes none of the copied rows. Reports the percentage that is done.
  void finish(int limit, int batch, const std::function<void(int)>& tell);

  [[noreturn]] void fail() const;

 private:
  [[nodiscard]] Blueprint make_blueprint(int limit, int batch) const;
  void make(std::string_view type, const std::function<void(int)>& tell) const;

  const Log& log_;
  SqliteDatabase database_;
  Blueprint blueprint_;
  std::optional<SqliteStatement> look_up_;
  std::int64_t rows_ = 0;
};

}  // namespace annalctl
