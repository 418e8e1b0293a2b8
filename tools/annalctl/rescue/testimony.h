// Compares a damaged log's rows with its indexes. Each index lists every row with one of its values: where it differs
// from the table, one of them is damaged.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/rescue/new_log.h"
#include "tools/annalctl/rescue/page_layout.h"

namespace annalctl {

using ValueId = std::pair<std::int64_t, const Column*>;  // by row and column of the new log

struct Testimony {
  int intact = 0;                   // how many indexes of one column could be read to their end, in order
  std::int64_t compared = 0;        // rows of the new log with a value that one of them lists
  std::set<std::string> columns;    // of the new log, whose values were compared
  std::set<std::int64_t> missing;   // rows that most of them list and the new log lacks
  std::set<std::int64_t> unknown;   // the reverse
  std::set<std::int64_t> doubtful;  // rows with a different value there; either may be right
  std::set<ValueId> mended;         // values that could not be right, replaced by an index's
};

class Witnesses {
 public:
  // columns: the new log's columns that both logs have, by the old log's names.
  Witnesses(const Log& log, const SqliteDatabase& old, Encoding encoding, std::map<std::string, const Column*> columns)
      : log_(log), old_(old), encoding_(encoding), columns_(std::move(columns)) {}

  void add(const std::string& index) { indexes_.push_back(index); }

  // Compares the new log with them, and replaces values that cannot be right. Calls tell now and then.
  [[nodiscard]] Testimony hear(NewLog& new_log, const std::function<void()>& tell) const;

 private:
  struct Entries;

  // column and values: of the new log; null if there is nothing to compare with.
  [[nodiscard]] bool read(const std::string& index, const Column* column, SqliteStatement* values, Entries& entries,
                          const std::function<void()>& tell) const;
  [[nodiscard]] std::string column_of(const std::string& index) const;

  const Log& log_;
  const SqliteDatabase& old_;
  Encoding encoding_;
  std::map<std::string, const Column*> columns_;
  std::vector<std::string> indexes_;
};

// Rows with a value that the library cannot have stored: a text with a zero byte, a blob, or a text in a column of
// numbers.
[[nodiscard]] std::set<std::int64_t> rows_with_impossible_values(const Log& log, const NewLog& new_log);

}  // namespace annalctl
