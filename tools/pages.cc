#include "tools/pages.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <limits>

namespace annalctl {

namespace {

// SQLite's file format: where the header has what.
constexpr std::string_view kMagic("SQLite format 3\0", 16);
constexpr std::size_t kPageSizeAt = 16;
constexpr std::size_t kReservedAt = 20;
constexpr std::size_t kFreeListAt = 32;
constexpr std::size_t kFreeCountAt = 36;
constexpr std::size_t kEncodingAt = 56;

constexpr unsigned char kTableLeaf = 0x0D;
constexpr std::size_t kLeafHeaderSize = 8;
constexpr std::size_t kLeastUsable = 480;
constexpr std::size_t kLink = 4;  // the number of the next page, at the beginning of an overflow page
constexpr std::size_t kLargestPayload = 16U << 20U;
constexpr std::size_t kMostValues = 200;
constexpr std::uint64_t kReadsPerPage = 16;

// A number of so many bytes, the most significant first.
std::uint64_t number_at(std::span<const unsigned char> bytes, std::size_t place, std::size_t size) {
  std::uint64_t number = 0;
  for (const unsigned char byte : bytes.subspan(place, size)) {
    number = number << 8U | byte;
  }
  return number;
}

std::uint32_t four_bytes(std::span<const unsigned char> bytes, std::size_t place) {
  return static_cast<std::uint32_t>(number_at(bytes, place, 4));
}

// Reads numbers of one to nine bytes one after the other; a failure stays.
class Varints {
 public:
  explicit Varints(std::span<const unsigned char> bytes) : bytes_(bytes) {}

  std::uint64_t next() {
    constexpr std::size_t kLongest = 9;
    std::uint64_t number = 0;
    for (std::size_t i = 1; place_ < bytes_.size(); ++i) {
      const unsigned char byte = bytes_[place_++];
      if (i == kLongest) {
        return number << 8U | byte;
      }
      number = number << 7U | (byte & 0x7FU);
      if (byte < 0x80) {
        return number;
      }
    }
    failed_ = true;
    return 0;
  }

  [[nodiscard]] bool failed() const { return failed_; }
  [[nodiscard]] std::size_t place() const { return place_; }

 private:
  std::span<const unsigned char> bytes_;
  std::size_t place_ = 0;
  bool failed_ = false;
};

constexpr std::array<std::size_t, 10> kSizes{0, 1, 2, 3, 4, 6, 8, 8, 0, 0};
constexpr std::uint64_t kReal = 7;
constexpr std::uint64_t kZero = 8;
constexpr std::uint64_t kOne = 9;
constexpr std::uint64_t kFirstBlob = 12;

// What a value of this type takes; nothing for the types that there are none of.
std::optional<std::uint64_t> size_of(std::uint64_t type) {
  if (type < kSizes.size()) {
    return kSizes.at(type);
  }
  return type >= kFirstBlob ? std::optional((type - kFirstBlob) / 2) : std::nullopt;
}

StoredValue value_of(std::uint64_t type, std::span<const unsigned char> bytes) {
  using Kind = StoredValue::Kind;
  if (type >= kFirstBlob) {
    const auto* const begin = reinterpret_cast<const char*>(bytes.data());
    return {.kind = type % 2 == 0 ? Kind::kBlob : Kind::kText, .bytes = {begin, bytes.size()}};
  }
  if (type == 0) {
    return {};
  }
  if (type == kZero || type == kOne) {
    return {.kind = Kind::kInteger, .integer = static_cast<std::int64_t>(type - kZero)};
  }
  const std::uint64_t number = number_at(bytes, 0, bytes.size());
  if (type == kReal) {
    return {.kind = Kind::kReal, .real = std::bit_cast<double>(number)};
  }
  const unsigned unused = static_cast<unsigned>(sizeof number - bytes.size()) * 8;
  return {.kind = Kind::kInteger, .integer = static_cast<std::int64_t>(number << unused) >> unused};
}

}  // namespace

// A row's place on its page.
struct Pages::Cell {
  std::int64_t id;
  std::size_t payload;  // bytes of it in all
  Bytes local;          // those that are on the page
  std::uint32_t overflow;
};

Pages::Pages(const std::string& path) : file_(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  struct stat status {};
  if (file_ >= 0 && fstat(file_, &status) == 0 && S_ISREG(status.st_mode)) {
    size_ = static_cast<std::uint64_t>(status.st_size);
    has_header_ = pread(file_, header_.data(), header_.size(), 0) == static_cast<ssize_t>(header_.size()) &&
                  std::equal(kMagic.begin(), kMagic.end(), header_.begin(),
                             [](char c, unsigned char byte) { return static_cast<unsigned char>(c) == byte; });
  }
}

Pages::~Pages() {
  if (file_ >= 0) {
    close(file_);
  }
}

Pages::Encoding Pages::encoding() const {
  const std::uint32_t code = has_header_ ? four_bytes(header_, kEncodingAt) : 0;
  if (code == 2) {
    return Encoding::kUtf16Little;
  }
  return code == 3 ? Encoding::kUtf16Big : Encoding::kUtf8;
}

std::optional<std::uint32_t> Pages::page_size() const {
  constexpr std::uint32_t kLargest = 65536;
  const auto code = static_cast<std::uint32_t>(number_at(header_, kPageSizeAt, 2));
  const std::uint32_t size = code == 1 ? kLargest : code;
  if (!has_header_ || size < 512 || !std::has_single_bit(size)) {
    return {};
  }
  return size;
}

void Pages::read(std::uint32_t page_size, const Take& take) {
  const bool as_told = this->page_size() == page_size;
  page_size_ = page_size;
  usable_ = page_size - (as_told ? header_[kReservedAt] : 0U);
  // A part of a page at the end is left out.
  const std::uint64_t pages = size_ / page_size;
  count_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(pages, std::numeric_limits<std::uint32_t>::max() - 1));
  budget_ = kReadsPerPage * count_;
  if (usable_ < kLeastUsable) {
    return;
  }
  const std::vector<bool> free = as_told ? free_pages() : std::vector<bool>(std::size_t{count_} + 1);
  std::vector<unsigned char> page;
  for (std::uint32_t number = 1; number <= count_; ++number) {
    if (!free[number] && load(number, page)) {
      read_leaf(Bytes(page).first(usable_), number == 1 ? kHeaderSize : 0, take);
    }
  }
}

bool Pages::load(std::uint32_t number, std::vector<unsigned char>& page) const {
  page.resize(page_size_);
  const auto offset = static_cast<off_t>(std::uint64_t{number - 1} * page_size_);
  return pread(file_, page.data(), page.size(), offset) == static_cast<ssize_t>(page.size());
}

// A list with any fault might name pages that are in use: then no page counts as free.
std::vector<bool> Pages::free_pages() const {
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
  for (std::uint32_t number = four_bytes(header_, kFreeListAt); number != 0; number = four_bytes(trunk, 0)) {
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
  return found == four_bytes(header_, kFreeCountAt) ? free : none;
}

void Pages::read_leaf(Bytes page, std::size_t start, const Take& take) {
  if (page[start] != kTableLeaf) {
    return;
  }
  const std::size_t cells = number_at(page, start + 3, 2);
  const std::size_t pointers = start + kLeafHeaderSize;
  const std::size_t content = pointers + 2 * cells;
  if (content > page.size()) {
    return;
  }
  StoredRecord record;
  std::size_t taken = 0;  // more than the page has is only there when cells overlap
  for (std::size_t i = 0; i < cells && taken <= page.size(); ++i) {
    const std::size_t place = number_at(page, pointers + 2 * i, 2);
    if (place < content || place >= page.size()) {
      continue;
    }
    Varints head(page.subspan(place));
    const std::uint64_t payload = head.next();
    const auto id = static_cast<std::int64_t>(head.next());
    if (head.failed() || payload > std::min<std::uint64_t>(kLargestPayload, size_)) {
      continue;
    }
    // What does not fit stands on other pages, behind as much as leaves the last of them full.
    const std::size_t most = page.size() - 35;
    const std::size_t least = (page.size() - 12) * 32 / 255 - 23;
    const std::size_t full = least + (std::max<std::size_t>(payload, least) - least) % (page.size() - kLink);
    const std::size_t spilled = full <= most ? full : least;
    const bool spills = payload > most;
    const std::size_t local = spills ? spilled : payload;
    const Bytes rest = page.subspan(place + head.place());
    if (local + (spills ? kLink : 0) > rest.size()) {
      continue;
    }
    if (read_record({id, payload, rest.first(local), spills ? four_bytes(rest, local) : 0}, record)) {
      taken += local;
      take(record);
    }
  }
}

bool Pages::read_record(const Cell& cell, StoredRecord& record) {
  Varints head(cell.local);
  const std::uint64_t head_size = head.next();
  if (head.failed() || head_size > cell.local.size()) {
    return false;
  }
  std::vector<std::uint64_t> types;
  std::uint64_t expected = head_size;
  while (!head.failed() && head.place() < head_size) {
    types.push_back(head.next());
    const std::optional<std::uint64_t> size = size_of(types.back());
    if (!size || *size > cell.payload || types.size() > kMostValues) {
      return false;
    }
    expected += *size;
  }
  if (head.failed() || head.place() != head_size || expected != cell.payload) {
    return false;
  }
  // Only a record that is in order so far is worth the reading of further pages.
  payload_.assign(cell.local.begin(), cell.local.end());
  if (payload_.size() < cell.payload && !follow(cell.overflow, cell.payload)) {
    return false;
  }
  record.id = cell.id;
  record.values.clear();
  std::size_t place = head_size;
  for (const std::uint64_t type : types) {
    const std::size_t size = size_of(type).value_or(0);
    record.values.push_back(value_of(type, Bytes(payload_).subspan(place, size)));
    place += size;
  }
  return true;
}

bool Pages::follow(std::uint32_t number, std::size_t wanted) {
  while (payload_.size() < wanted) {
    if (number == 0 || number > count_ || budget_ == 0 || !load(number, overflow_page_)) {
      return false;
    }
    --budget_;
    const Bytes content = Bytes(overflow_page_).first(usable_).subspan(kLink);
    const Bytes part = content.first(std::min(content.size(), wanted - payload_.size()));
    payload_.insert(payload_.end(), part.begin(), part.end());
    number = four_bytes(overflow_page_, 0);
  }
  return number == 0;
}

}  // namespace annalctl
