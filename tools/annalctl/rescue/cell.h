// SQLite's file format, as far as the rows of a table need it: the cells of a leaf page, and the values of a record.
// Every byte may be wrong: each is checked before it is used.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace annalctl {

using Bytes = std::span<const unsigned char>;

// A number of so many bytes, the most significant first.
[[nodiscard]] std::uint64_t number_at(Bytes bytes, std::size_t place, std::size_t size);
[[nodiscard]] std::uint32_t four_bytes(Bytes bytes, std::size_t place);

constexpr std::size_t kLink = 4;  // the number of the next page, at the beginning of an overflow page

struct StoredValue {
  enum class Kind { kNull, kInteger, kReal, kText, kBlob };
  Kind kind = Kind::kNull;
  std::int64_t integer = 0;
  double real = 0;
  std::string_view bytes{};  // of what the value was read from
};

// How many bytes a value of this type takes; nothing for types that do not exist.
[[nodiscard]] std::optional<std::uint64_t> size_of_value(std::uint64_t type);
[[nodiscard]] StoredValue value_of(std::uint64_t type, Bytes bytes);

// What a record says of its values: their types, and where they begin.
struct RecordHead {
  std::vector<std::uint64_t> types;
  std::size_t size = 0;
};

// Nothing unless the sizes of all values add up to the payload. local: the record's beginning.
[[nodiscard]] bool read_head(Bytes local, std::uint64_t payload, RecordHead& head);

// How many bytes of a payload are on the leaf page itself; the others are on overflow pages.
[[nodiscard]] std::size_t local_size(std::uint64_t payload, std::size_t usable);

// A row's place on its page.
struct StoredCell {
  std::size_t place = 0;
  std::uint64_t payload = 0;  // its bytes in all
  std::int64_t id = 0;
  Bytes rest;  // of the page, from the payload's beginning on
};

// The cells of a page that is a leaf of a table: those that a pointer of the page leads to. start: where the page
// begins to be one, which in the first is behind the file's header.
class LeafCells {
 public:
  LeafCells(Bytes page, std::size_t start);

  // Leaves out pointers that lead nowhere; false at the end.
  bool next(StoredCell& cell);

  [[nodiscard]] std::size_t unreadable() const { return unreadable_; }

 private:
  Bytes page_;
  std::size_t pointers_ = 0;
  std::size_t count_ = 0;
  std::size_t begun_ = 0;
  std::size_t unreadable_ = 0;
};

}  // namespace annalctl
