// The last resort: reads the rows of a damaged database from its pages, ignoring the tree that should lead to them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

#include "tools/annalctl/rescue/cell.h"
#include "tools/annalctl/rescue/page_layout.h"

namespace annalctl {

struct StoredRecord {
  std::int64_t id = 0;
  std::vector<StoredValue> values;  // their bytes are valid until the next record is read
};

// Any byte of the file may be wrong: each is checked before use, and the work is bounded by the file's size.
class PageReader {
 public:
  PageReader(DamagedFile& file, const Layout& layout);

  // Visits each whole record, in the order of the pages. Leaves out the free pages, with their deleted rows, if the
  // file's list of them is without fault.
  using Take = std::function<void(const StoredRecord& record)>;
  // Visits the id of what begins like a record with this number of values, but continues where it cannot be read.
  using TakeBroken = std::function<void(std::int64_t id, std::size_t values)>;
  void read(const Take& take, const TakeBroken& take_broken);

 private:
  enum class Reading { kWhole, kBroken, kNoRecord };

  bool load(std::uint32_t number, std::vector<unsigned char>& page);
  [[nodiscard]] std::vector<bool> free_pages();
  void read_leaf(Bytes page, std::size_t start, const Take& take, const TakeBroken& take_broken);
  Reading read_record(const StoredCell& cell, StoredRecord& record);
  bool follow(std::uint32_t number, std::uint64_t wanted);

  DamagedFile& file_;
  const Layout& layout_;
  std::size_t usable_;  // of a page
  std::uint32_t count_;
  std::uint64_t budget_ = 0;  // overflow pages left to read: many cells may claim the same chain
  std::vector<unsigned char> overflow_page_;
  std::vector<unsigned char> payload_;
  RecordHead head_;
};

}  // namespace annalctl
