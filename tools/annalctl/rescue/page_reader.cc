// Reads records from the pages of a damaged file, leaf by leaf.
//
// It follows no interior page, because those may be the damaged ones: it looks at every page, and takes it as a leaf if
// its header says so. A record counts only if all its lengths add up. A long record continues on a chain of overflow
// pages; a damaged chain may be circular or shared, so the number of pages read for chains is limited.
#include "tools/annalctl/rescue/page_reader.h"

#include <algorithm>
#include <limits>

namespace annalctl {

namespace {

constexpr std::size_t kFreeListAt = 32;
constexpr std::size_t kFreeCountAt = 36;
constexpr std::uint64_t kLargestPayload = 1'000'000'000;  // SQLite stores no larger row
constexpr std::uint64_t kReadsPerPage = 16;

}  // namespace

// Ignores a partial page at the end.
PageReader::PageReader(DamagedFile& file, const Layout& layout)
    : file_(file),
      layout_(layout),
      usable_(layout.page_size - layout.reserved),
      count_(static_cast<std::uint32_t>(
          std::min<std::uint64_t>(file.size() / layout.page_size, std::numeric_limits<std::uint32_t>::max() - 1))) {}

void PageReader::read(const Take& take, const TakeBroken& take_broken) {
  budget_ = kReadsPerPage * count_;
  const std::vector<bool> free = layout_.as_told ? free_pages() : std::vector<bool>(std::size_t{count_} + 1);
  std::vector<unsigned char> page;
  for (std::uint32_t number = 1; number <= count_; ++number) {
    if (!free[number] && load(number, page)) {
      read_leaf(Bytes(page).first(usable_), number == 1 ? kHeaderSize : 0, take, take_broken);
    }
  }
}

bool PageReader::load(std::uint32_t number, std::vector<unsigned char>& page) {
  page.resize(layout_.page_size);
  return file_.read(std::uint64_t{number - 1} * layout_.page_size, page);
}

// A list with any fault might name pages in use: then no page counts as free.
std::vector<bool> PageReader::free_pages() {
  std::vector<bool> none(std::size_t{count_} + 1);
  std::vector<bool> free = none;
  std::uint32_t found = 0;
  const auto mark = [&](std::uint32_t number) {
    if (number == 0 || number > count_ || free[number]) {
      return false;
    }
    free[number] = true;
    ++found;
    return true;
  };
  std::vector<unsigned char> trunk;
  for (std::uint32_t number = four_bytes(file_.header(), kFreeListAt); number != 0; number = four_bytes(trunk, 0)) {
    if (!mark(number) || !load(number, trunk)) {
      return none;
    }
    const std::uint64_t leaves = four_bytes(trunk, kLink);
    if (leaves > usable_ / kLink - 2) {
      return none;
    }
    for (std::size_t i = 0; i < leaves; ++i) {
      if (!mark(four_bytes(trunk, (i + 2) * kLink))) {
        return none;
      }
    }
  }
  return found == four_bytes(file_.header(), kFreeCountAt) ? free : none;
}

void PageReader::read_leaf(Bytes page, std::size_t start, const Take& take, const TakeBroken& take_broken) {
  LeafCells cells(page, start);
  StoredRecord record;
  StoredCell cell;
  std::size_t taken = 0;  // exceeds the page only if cells overlap
  while (taken <= page.size() && cells.next(cell)) {
    const Reading reading = read_record(cell, record);
    if (reading == Reading::kWhole) {
      taken += local_size(cell.payload, usable_);
      take(record);
    } else if (reading == Reading::kBroken) {
      take_broken(cell.id, head_.types.size());
    }
  }
}

PageReader::Reading PageReader::read_record(const StoredCell& cell, StoredRecord& record) {
  const std::size_t local = local_size(cell.payload, usable_);
  const bool spills = local < cell.payload;
  if (cell.payload > kLargestPayload || local + (spills ? kLink : 0) > cell.rest.size() ||
      !read_head(cell.rest.first(local), cell.payload, head_)) {
    return Reading::kNoRecord;
  }
  // Reads further pages only for a record that is in order so far.
  payload_.assign(cell.rest.begin(), cell.rest.begin() + static_cast<std::ptrdiff_t>(local));
  if (spills && (cell.payload > file_.size() || !follow(four_bytes(cell.rest, local), cell.payload))) {
    return Reading::kBroken;
  }
  record.id = cell.id;
  record.values.clear();
  std::size_t place = head_.size;
  for (const std::uint64_t type : head_.types) {
    const auto size = static_cast<std::size_t>(size_of_value(type).value_or(0));
    record.values.push_back(value_of(type, Bytes(payload_).subspan(place, size)));
    place += size;
  }
  return Reading::kWhole;
}

bool PageReader::follow(std::uint32_t number, std::uint64_t wanted) {
  while (payload_.size() < wanted) {
    if (number == 0 || number > count_ || budget_ == 0 || !load(number, overflow_page_)) {
      return false;
    }
    --budget_;
    const Bytes content = Bytes(overflow_page_).first(usable_).subspan(kLink);
    const std::uint64_t missing = wanted - payload_.size();
    const Bytes part = content.first(static_cast<std::size_t>(std::min<std::uint64_t>(content.size(), missing)));
    payload_.insert(payload_.end(), part.begin(), part.end());
    number = four_bytes(overflow_page_, 0);
  }
  return number == 0;
}

}  // namespace annalctl
