// Rows that were read and not yet written: so many that memory stays bounded.
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

  // The row where a statement stands: its first column is the row's id, and from another one on it is listed.
  void add(const SqliteStatement& statement, int first);
  void clear();
  // Drops all rows but so many from the first one on.
  void keep_only(std::size_t first, std::size_t rows);

  [[nodiscard]] std::size_t size() const { return ids_.size(); }
  [[nodiscard]] bool empty() const { return ids_.empty(); }
  [[nodiscard]] bool full() const { return size() >= kMostRows || bytes_.size() >= kMostBytes; }

  [[nodiscard]] std::int64_t id(std::size_t row) const { return ids_[row]; }
  // The pointers are the page's own, until it changes.
  [[nodiscard]] std::vector<const char*> values(std::size_t row) const;

 private:
  std::string bytes_;                 // the texts, each with its terminator
  std::vector<std::size_t> offsets_;  // of each text in there
  std::vector<std::int64_t> ids_;
};

}  // namespace annalctl
