// The part of SQLite's file format that a table's rows need: the cells of a leaf page, and the values of a record. Any
// byte may be wrong: each is checked before use.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace annalctl {

using Bytes = std::span<const unsigned char>;

// A number of several bytes, the most significant first.
[[nodiscard]] std::uint64_t number_at(Bytes bytes, std::size_t place, std::size_t size);
[[nodiscard]] std::uint16_t two_bytes(Bytes bytes, std::size_t place);
[[nodiscard]] std::uint32_t four_bytes(Bytes bytes, std::size_t place);

constexpr std::size_t kLink = 4;  // the number of the next page, at the start of an overflow page

struct StoredValue {
  enum class Kind { kNull, kInteger, kReal, kText, kBlob };
  Kind kind = Kind::kNull;
  std::int64_t integer = 0;
  double real = 0;
  std::string_view bytes{};  // of the value in the file
};

// How many bytes a value of this type takes; nothing for types that do not exist.
[[nodiscard]] std::optional<std::uint64_t> size_of_value(std::uint64_t type);
[[nodiscard]] StoredValue value_of(std::uint64_t type, Bytes bytes);

// A record's header: the types of its values, and where they start.
struct RecordHead {
  std::vector<std::uint64_t> types;
  std::size_t size = 0;
};

// Nothing unless the sizes of all values add up to the payload. local: the start of the record.
[[nodiscard]] bool read_head(Bytes local, std::uint64_t payload, RecordHead& head);

// How many bytes of a payload are on the leaf page; the others are on overflow pages.
[[nodiscard]] std::size_t local_size(std::uint64_t payload, std::size_t usable);

// A row's place on its page.
struct StoredCell {
  std::size_t place = 0;
  std::uint64_t payload = 0;  // its total bytes
  std::int64_t id = 0;
  Bytes rest;  // of the page, from the start of the payload
};

// The cells of a table's leaf page: those to which the page has a pointer. start: where the page's own header starts;
// on the first page, after the file's.
class LeafCells {
 public:
  LeafCells(Bytes page, std::size_t start);

  // Skips invalid pointers; false at the end.
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
