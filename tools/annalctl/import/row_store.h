// Stores many entries in one transaction, each as the library would store it, and forwards none to the log's other
// consumers.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/import/cell.h"

namespace annalctl {

// The values of columns that an entry leaves out: expressions of the library's own statements.
struct GivenByLog {
  const char* column;
  const char* expression;  // may refer to other values by number, "?9"
};

// The log that entries go to.
struct StoreTarget {
  const Log& log;
  std::span<const GivenByLog> given;
  const char* moment;  // the column whose index finds known entries
};

class RowStore {
 public:
  explicit RowStore(const StoreTarget& target);

  struct Outcome {
    bool stored = false;
    std::string reason;         // why not, as SQLite says it
    std::uint64_t dropped = 0;  // entries, these included, that the log's limit has dropped
  };

  // All of them or none. Waits up to 20 s for a lock, unless a signal says to stop.
  [[nodiscard]] Outcome store(std::span<const Cells> rows);

  // Whether the log had an equal entry before the first row was stored. Each entry of the log counts once: of three
  // equal rows, two are known to a log that has two of them. False also if the log cannot be read, which storing then
  // reports.
  [[nodiscard]] bool knows(const Cells& row);

 private:
  void open();
  [[nodiscard]] bool insert(std::span<const Cells> rows, Outcome& outcome);
  [[nodiscard]] std::int64_t count() const;

  const StoreTarget& target_;
  std::unique_ptr<SqliteDatabase> database_;
  std::unique_ptr<SqliteStatement> insert_;
  std::unique_ptr<SqliteStatement> known_;
  std::int64_t highest_id_ = 0;
  std::map<std::string, std::int64_t> unmatched_;  // equal entries of the log that no row has matched yet
};

}  // namespace annalctl
