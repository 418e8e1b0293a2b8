// The last resort: the rows of a damaged database, read from its pages, whatever has become of the tree they stood in.
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
  std::vector<StoredValue> values;  // their bytes: until the next record is read
};

// Every byte of the file may be wrong: each is checked before it is used, and the work is bounded by the file's size.
class PageReader {
 public:
  PageReader(DamagedFile& file, const Layout& layout);

  // Takes each record that is whole, in the order of the pages. Pages that the file's own list names as free, with rows
  // that were deleted, are left out if that list is without fault.
  using Take = std::function<void(const StoredRecord& record)>;
  // Takes the id of what begins like a record of so many values, and goes on where it cannot be read.
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
  std::uint64_t budget_ = 0;  // of overflow pages to read: many cells may claim the same chain
  std::vector<unsigned char> overflow_page_;
  std::vector<unsigned char> payload_;
  RecordHead head_;
};

}  // namespace annalctl
