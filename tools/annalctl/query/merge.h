// Rows of several logs, sorted by time in a private temporary database: memory stays bounded, and no log is locked
// while they are written out.
#pragma once

#include <cstdint>
#include <functional>

#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/query/row_buffer.h"

namespace annalctl {

class Merge {
 public:
  // columns: of each row. The first is its time; the next two, its log and its id, decide between equal times.
  explicit Merge(int columns);

  void add(const RowBuffer& page);

  enum class Order { kOldestFirst, kNewestFirst };
  // Passes on the rows without their time, a page at a time.
  void read(Order order, std::int64_t limit, std::int64_t offset, const std::function<void(const RowBuffer&)>& take);

  // Drops all but the newest rows.
  void keep_newest(std::int64_t rows);
  void clear();

 private:
  void require(bool done) const;

  int columns_;
  SqliteDatabase database_;
  SqliteStatement insert_;
};

}  // namespace annalctl
