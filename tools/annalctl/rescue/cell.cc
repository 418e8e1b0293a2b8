// Decodes cells and records of SQLite's file format from untrusted bytes.
#include "tools/annalctl/rescue/cell.h"

#include <algorithm>
#include <array>
#include <bit>

namespace annalctl {

namespace {

constexpr unsigned char kTableLeaf = 0x0D;
constexpr std::size_t kLeafHeaderSize = 8;
constexpr std::size_t kMostValues = 200;

constexpr std::array<std::size_t, 10> kSizes{0, 1, 2, 3, 4, 6, 8, 8, 0, 0};
constexpr std::uint64_t kReal = 7;
constexpr std::uint64_t kZero = 8;
constexpr std::uint64_t kOne = 9;
constexpr std::uint64_t kFirstBlob = 12;

// Reads consecutive numbers of one to nine bytes; a failure is permanent.
class Varints {
 public:
  explicit Varints(Bytes bytes) : bytes_(bytes) {}

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
  Bytes bytes_;
  std::size_t place_ = 0;
  bool failed_ = false;
};

}  // namespace

std::uint64_t number_at(Bytes bytes, std::size_t place, std::size_t size) {
  std::uint64_t number = 0;
  for (const unsigned char byte : bytes.subspan(place, size)) {
    number = number << 8U | byte;
  }
  return number;
}

std::uint16_t two_bytes(Bytes bytes, std::size_t place) {
  return static_cast<std::uint16_t>(number_at(bytes, place, 2));
}

std::uint32_t four_bytes(Bytes bytes, std::size_t place) {
  return static_cast<std::uint32_t>(number_at(bytes, place, 4));
}

std::optional<std::uint64_t> size_of_value(std::uint64_t type) {
  if (type < kSizes.size()) {
    return kSizes.at(static_cast<std::size_t>(type));
  }
  return type >= kFirstBlob ? std::optional((type - kFirstBlob) / 2) : std::nullopt;
}

StoredValue value_of(std::uint64_t type, Bytes bytes) {
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

bool read_head(Bytes local, std::uint64_t payload, RecordHead& head) {
  Varints numbers(local);
  const std::uint64_t size = numbers.next();
  head.types.clear();
  if (numbers.failed() || size > local.size()) {
    return false;
  }
  std::uint64_t expected = size;
  while (!numbers.failed() && numbers.place() < size) {
    head.types.push_back(numbers.next());
    const std::optional<std::uint64_t> taken = size_of_value(head.types.back());
    if (!taken || *taken > payload || head.types.size() > kMostValues) {
      return false;
    }
    expected += *taken;
  }
  head.size = static_cast<std::size_t>(size);
  return !numbers.failed() && numbers.place() == size && expected == payload;
}

std::size_t local_size(std::uint64_t payload, std::size_t usable) {
  const std::size_t most = usable - 35;
  if (payload <= most) {
    return static_cast<std::size_t>(payload);
  }
  // SQLite keeps as much here as fills the last overflow page, if that fits.
  const std::size_t least = (usable - 12) * 32 / 255 - 23;
  const std::size_t full = least + static_cast<std::size_t>((payload - least) % (usable - kLink));
  return full <= most ? full : least;
}

LeafCells::LeafCells(Bytes page, std::size_t start) : page_(page) {
  if (page.size() < start + kLeafHeaderSize || page[start] != kTableLeaf) {
    return;
  }
  pointers_ = start + kLeafHeaderSize;
  count_ = two_bytes(page, start + 3);
  if (pointers_ + 2 * count_ > page.size()) {
    unreadable_ = 1;
    count_ = 0;
  }
}

bool LeafCells::next(StoredCell& cell) {
  while (begun_ < count_) {
    cell.place = two_bytes(page_, pointers_ + 2 * begun_++);
    if (cell.place >= pointers_ + 2 * count_ && cell.place < page_.size()) {
      Varints head(page_.subspan(cell.place));
      cell.payload = head.next();
      cell.id = static_cast<std::int64_t>(head.next());
      if (!head.failed()) {
        cell.rest = page_.subspan(cell.place + head.place());
        return true;
      }
    }
    ++unreadable_;
  }
  return false;
}

}  // namespace annalctl
