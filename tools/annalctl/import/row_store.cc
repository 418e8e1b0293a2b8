// Stores rows in batches, a transaction each.
//
// The log's trigger counts the whole table for every entry. Here the trigger is switched off within the transaction,
// which counts once, keeps the count itself, and runs the trigger's own statement when the trigger would.
#include "tools/annalctl/import/row_store.h"

#include <fmt/format.h>
#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <string_view>
#include <thread>

#include "tools/annalctl/base/regex.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/import/stop.h"

namespace annalctl {

namespace {

constexpr std::chrono::milliseconds kStep{50};
constexpr int kMostSteps = 400;  // 20 s, which the library waits too

int wait_for_lock(void* /*context*/, int steps) {
  if (steps >= kMostSteps || stop_signal() != nullptr) {
    return 0;
  }
  std::this_thread::sleep_for(kStep);
  return 1;
}

// What a full log's trigger does.
struct Limit {
  std::int64_t most = 0;
  std::string drop;  // the statement that it runs if there are more
};

constexpr char kLimitTrigger[] =
    R"((?i)^CREATE TRIGGER \w+ AFTER INSERT\s+ON (?P<table>\w+) WHEN (?P<most>\d+) < )"
    R"(\(SELECT COUNT\(\*\) FROM (?P<counted>\w+)\)\s+BEGIN\s+)"
    R"((?P<drop>DELETE FROM (?P<from>\w+) WHERE \w+ IN\s+\(SELECT \w+ FROM \w+ ORDER BY [\w, ]+\s+LIMIT \d+\));\s+END;?$)";

bool same_name(std::string_view left, std::string_view right) {
  return sqlite3_strnicmp(left.data(), right.data(), static_cast<int>(std::max(left.size(), right.size()))) == 0;
}

// The log's limit, if its trigger is the library's own and the only one.
std::optional<Limit> limit_of(const SqliteDatabase& database, const Log& log) {
  SqliteStatement triggers(database, fmt::format("SELECT sql FROM sqlite_master WHERE type = 'trigger' AND "
                                                 "tbl_name = '{}' COLLATE NOCASE",
                                                 log.table));
  if (!triggers.next()) {
    return {};
  }
  const std::string text = triggers.text(0);
  static const Regex form(kLimitTrigger);
  std::vector<std::string_view> groups;
  if (triggers.next() || !form.find_groups(text, groups)) {
    return {};
  }
  constexpr std::size_t kTable = 0;
  constexpr std::size_t kMost = 1;
  constexpr std::size_t kCounted = 2;
  constexpr std::size_t kDrop = 3;
  constexpr std::size_t kFrom = 4;
  const std::optional<std::int64_t> most = whole_number<std::int64_t>(groups[kMost]);
  for (const std::size_t table : {kTable, kCounted, kFrom}) {
    if (!most || !same_name(std::string(groups[table]), log.table)) {
      return {};
    }
  }
  return Limit{*most, std::string(groups[kDrop])};
}

void bind(const SqliteStatement& statement, const Cells& row) {
  int place = 0;
  for (const Cell& cell : row) {
    ++place;
    if (const auto* const number = std::get_if<std::int64_t>(&cell)) {
      statement.bind(place, *number);
    } else if (const auto* const text = std::get_if<std::string>(&cell)) {
      statement.bind(place, *text);
    } else {
      sqlite3_bind_null(statement.handle(), place);
    }
  }
}

const GivenByLog* given_for(const StoreTarget& target, std::string_view column) {
  const auto found = std::find_if(target.given.begin(), target.given.end(),
                                  [column](const GivenByLog& one) { return one.column == column; });
  return found == target.given.end() ? nullptr : &*found;
}

std::string insert_text(const StoreTarget& target) {
  std::string names;
  std::string values;
  for (std::size_t i = 1; i < target.log.columns.size(); ++i) {
    const char* const name = target.log.columns[i].name;
    const char* const separator = i == 1 ? "" : ", ";
    const GivenByLog* const given = given_for(target, name);
    names += fmt::format("{}{}", separator, name);
    values += given == nullptr ? fmt::format("{}?{}", separator, i)
                               : fmt::format("{}coalesce(?{}, {})", separator, i, given->expression);
  }
  return fmt::format("INSERT INTO {} ({}) VALUES ({})", target.log.table, names, values);
}

// Only the moment's index helps: the plus keeps SQLite from choosing another.
std::string known_text(const StoreTarget& target) {
  const std::span<const Column> columns = target.log.columns;
  std::string text =
      fmt::format("SELECT count(*) FROM {} WHERE +{} <= ?{}", target.log.table, columns[0].name, columns.size());
  for (std::size_t i = 1; i < columns.size(); ++i) {
    const std::string_view name = columns[i].name;
    if (name == target.moment) {
      text += fmt::format(" AND {} IS ?{}", name, i);
    } else if (given_for(target, name) != nullptr) {
      text += fmt::format(" AND (?{} IS NULL OR +{} IS ?{})", i, name, i);
    } else {
      text += fmt::format(" AND +{} IS ?{}", name, i);
    }
  }
  return text;
}

std::string key_of(const Cells& row) {
  std::string key;
  for (const Cell& cell : row) {
    if (const auto* const number = std::get_if<std::int64_t>(&cell)) {
      key += std::to_string(*number);
    } else if (const auto* const text = std::get_if<std::string>(&cell)) {
      key += *text;
    }
    key += '\0';
  }
  return key;
}

}  // namespace

RowStore::RowStore(const StoreTarget& target) : target_(target) {}

void RowStore::open() {
  if (database_) {
    return;
  }
  database_ = std::make_unique<SqliteDatabase>(target_.log.path, SQLITE_OPEN_READWRITE);
  sqlite3_busy_handler(database_->handle(), wait_for_lock, nullptr);
  // Nearly every row dirties a page of each index. Pages that do not fit into the cache would be written early.
  constexpr char kRoom[] = "PRAGMA cache_size = -32768";
  static_cast<void>(database_->run(kRoom));
}

std::int64_t RowStore::count() const {
  SqliteStatement counting(*database_, fmt::format("SELECT count(*) FROM {}", target_.log.table));
  return counting.next() ? counting.integer(0) : -1;
}

bool RowStore::insert(std::span<const Cells> rows, Outcome& outcome) {
  // No other program writes during this transaction, so one count is enough, where the trigger counts again for each
  // row. What is dropped, and when, is the same.
  // A failure's message is gone once another statement ends, so it is kept at once.
  const std::optional<Limit> limit = limit_of(*database_, target_.log);
  sqlite3_db_config(database_->handle(), SQLITE_DBCONFIG_ENABLE_TRIGGER, limit ? 0 : 1, nullptr);
  if (!insert_) {
    insert_ = std::make_unique<SqliteStatement>(*database_, insert_text(target_));
  }
  std::optional<SqliteStatement> drop;
  if (limit && insert_->prepared()) {
    drop.emplace(*database_, limit->drop);
  }
  if (!insert_->prepared() || (drop && !drop->prepared())) {
    outcome.reason = database_->message();
    return false;
  }
  std::int64_t present = count();
  const std::int64_t before = present;
  if (present < 0) {
    outcome.reason = database_->message();
    return false;
  }
  for (const Cells& row : rows) {
    bind(*insert_, row);
    static_cast<void>(insert_->next());
    if (!insert_->ended()) {
      outcome.reason = database_->message();
      return false;
    }
    insert_->reset();
    ++present;
    if (limit && present > limit->most) {
      static_cast<void>(drop->next());
      if (!drop->ended()) {
        outcome.reason = database_->message();
        return false;
      }
      present -= sqlite3_changes(database_->handle());
      drop->reset();
    }
  }
  const std::int64_t now = limit ? present : count();
  const std::int64_t gone = before + static_cast<std::int64_t>(rows.size()) - now;
  outcome.dropped = gone > 0 ? static_cast<std::uint64_t>(gone) : 0;
  return true;
}

RowStore::Outcome RowStore::store(std::span<const Cells> rows) {
  open();
  Outcome outcome;
  const bool begun = database_->run("BEGIN IMMEDIATE");
  const bool inserted = begun && insert(rows, outcome);
  if (inserted && database_->run("COMMIT")) {
    outcome.stored = true;
    return outcome;
  }
  outcome.dropped = 0;
  if (!begun || inserted) {
    outcome.reason = database_->message();
  }
  if (begun) {
    insert_.reset();
    static_cast<void>(database_->run("ROLLBACK"));
  }
  // Other connections look for the cause, so this one has to let go first.
  insert_.reset();
  known_.reset();
  database_.reset();
  return outcome;
}

bool RowStore::knows(const Cells& row) {
  if (!known_) {
    open();
    SqliteStatement highest(*database_,
                            fmt::format("SELECT max({}) FROM {}", target_.log.columns[0].name, target_.log.table));
    highest_id_ = highest.next() ? highest.integer(0) : 0;
    known_ = std::make_unique<SqliteStatement>(*database_, known_text(target_));
  }
  if (!known_->prepared()) {
    return false;
  }
  std::string key = key_of(row);
  auto place = unmatched_.find(key);
  if (place == unmatched_.end()) {
    bind(*known_, row);
    known_->bind(static_cast<int>(target_.log.columns.size()), highest_id_);
    const std::int64_t equal = known_->next() ? known_->integer(0) : 0;
    known_->reset();
    if (equal == 0) {
      return false;
    }
    place = unmatched_.emplace(std::move(key), equal).first;
  }
  if (place->second == 0) {
    return false;
  }
  --place->second;
  return true;
}

}  // namespace annalctl
