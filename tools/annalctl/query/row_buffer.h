// A bounded number of rows that were read and not yet written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/output/output.h"

namespace annalctl {

class RowBuffer {
 public:
  static constexpr std::size_t kMostRows = 1000;
  static constexpr std::size_t kMostBytes = std::size_t{1} << 20U;

  // A statement's current row: its first column is the row's id; the listed columns start later.
  void add(const SqliteStatement& statement, int first);
  void clear();
  // Keeps only the first rows.
  void keep_only(std::size_t first, std::size_t rows);

  [[nodiscard]] std::size_t size() const { return ids_.size(); }
  [[nodiscard]] bool empty() const { return ids_.empty(); }
  [[nodiscard]] bool full() const { return size() >= kMostRows || bytes_.size() >= kMostBytes; }

  [[nodiscard]] std::int64_t id(std::size_t row) const { return ids_[row]; }
  // The pointers belong to the page, until it changes.
  [[nodiscard]] std::vector<const char*> values(std::size_t row) const;

 private:
  std::string bytes_;                 // the texts, each with its terminator
  std::vector<std::size_t> offsets_;  // of each text in there
  std::vector<std::int64_t> ids_;
};

}  // namespace annalctl
