// Limits the time and memory that SQLite may spend on a hostile file.
#include "tools/annalctl/rescue/bounds.h"

#include <array>

namespace annalctl {

namespace {

struct Limit {
  int which;
  int value;
};

constexpr std::array kLimits{
    Limit{SQLITE_LIMIT_LENGTH, 128 << 20}, Limit{SQLITE_LIMIT_SQL_LENGTH, 1 << 20},
    Limit{SQLITE_LIMIT_EXPR_DEPTH, 100},   Limit{SQLITE_LIMIT_TRIGGER_DEPTH, 10},
    Limit{SQLITE_LIMIT_ATTACHED, 0},       Limit{SQLITE_LIMIT_WORKER_THREADS, 0},
};

struct Setting {
  int which;
  int on;
};

constexpr std::array kSettings{
    Setting{SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
    Setting{SQLITE_DBCONFIG_DEFENSIVE, 1},
    Setting{SQLITE_DBCONFIG_ENABLE_VIEW, 0},
    Setting{SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0},
};

}  // namespace

std::chrono::seconds time_for(std::int64_t size) {
  constexpr std::chrono::seconds kLeast{10};
  constexpr std::int64_t kBytesPerSecond = std::int64_t{2} << 20U;
  return kLeast + std::chrono::seconds(size / kBytesPerSecond);
}

ConnectionBounds::ConnectionBounds(sqlite3* connection, const WorkDeadline& deadline)
    : connection_(connection), deadline_(deadline) {
  for (const auto& [which, value] : kLimits) {
    sqlite3_limit(connection, which, value);
  }
  for (const auto& [which, on] : kSettings) {
    sqlite3_db_config(connection, which, on, nullptr);
  }
  // A statement that starts after the deadline is not interrupted: this refuses it.
  constexpr int kInstructions = 1000;
  sqlite3_progress_handler(
      connection, kInstructions,
      [](void* bounds) { return static_cast<ConnectionBounds*>(bounds)->deadline_.passed() ? 1 : 0; }, this);
  watch_ = std::thread([this] {
    std::unique_lock lock(mutex_);
    constexpr std::chrono::milliseconds kPause{100};
    while (!ended_.wait_for(lock, kPause, [this] { return over_; })) {
      if (deadline_.passed()) {
        return sqlite3_interrupt(connection_);
      }
    }
  });
}

ConnectionBounds::~ConnectionBounds() {
  {
    const std::scoped_lock lock(mutex_);
    over_ = true;
  }
  ended_.notify_one();
  watch_.join();
  sqlite3_progress_handler(connection_, 0, nullptr, nullptr);
}

}  // namespace annalctl
