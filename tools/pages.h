// The last resort: the rows of a damaged database, read from its pages, whatever has become of the tree they stood in.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace annalctl {

struct StoredValue {
  enum class Kind { kNull, kInteger, kReal, kText, kBlob };
  Kind kind = Kind::kNull;
  std::int64_t integer = 0;
  double real = 0;
  std::string_view bytes{};  // until the next record is read
};

struct StoredRecord {
  std::int64_t id = 0;
  std::vector<StoredValue> values;
};

// Every byte of the file may be wrong: each is checked before it is used, and the work is bounded by the file's size.
class Pages {
 public:
  explicit Pages(const std::string& path);
  ~Pages();
  Pages(const Pages&) = delete;
  Pages& operator=(const Pages&) = delete;

  enum class Encoding { kUtf8, kUtf16Little, kUtf16Big };
  [[nodiscard]] Encoding encoding() const;

  // As the file's header says; nothing when that is damaged.
  [[nodiscard]] std::optional<std::uint32_t> page_size() const;

  // Hands out each record that is whole, in the order of the pages. Pages that the file's own list names as free, with
  // rows that were deleted, are left out if that list is without fault. page_size: a power of two from 512 to 65536.
  using Take = std::function<void(const StoredRecord& record)>;
  void read(std::uint32_t page_size, const Take& take);

 private:
  struct Cell;
  using Bytes = std::span<const unsigned char>;

  bool load(std::uint32_t number, std::vector<unsigned char>& page) const;
  [[nodiscard]] std::vector<bool> free_pages() const;
  void read_leaf(Bytes page, std::size_t start, const Take& take);
  bool read_record(const Cell& cell, StoredRecord& record);
  bool follow(std::uint32_t number, std::size_t wanted);

  static constexpr std::size_t kHeaderSize = 100;

  int file_;
  std::uint64_t size_ = 0;
  std::array<unsigned char, kHeaderSize> header_{};
  bool has_header_ = false;
  std::uint32_t page_size_ = 0;
  std::size_t usable_ = 0;  // of a page
  std::uint32_t count_ = 0;
  std::uint64_t budget_ = 0;  // of overflow pages to read: many cells may claim the same chain
  std::vector<unsigned char> overflow_page_;
  std::vector<unsigned char> payload_;
};

}  // namespace annalctl
