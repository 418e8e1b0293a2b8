// A caller's record byte by byte, to see what submission reads and writes.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>
#include <string>
#include <string_view>

namespace annal::test {

// Fills the bytes that a test has not set.
inline constexpr char kLeftBehind = '\xAA';

// A text field of a record, named after its column.
struct Field {
  const char* name;
  std::size_t offset;
  std::size_t size;

  template <typename Record>
  [[nodiscard]] char* in(Record& record) const {
    return reinterpret_cast<char*>(&record) + offset;
  }
};

// Puts a text and its terminator into a field and keeps the bytes after it.
template <typename Record>
void put(Record& record, const Field& field, std::string_view text) {
  *std::copy(text.begin(), text.end(), field.in(record)) = '\0';
}

// Writes N bytes of a field: a text padded with zero bytes.
template <typename Record>
void fill(Record& record, const Field& field, std::string_view text, std::size_t width) {
  std::memset(field.in(record), 0, width);
  std::copy(text.begin(), text.end(), field.in(record));
}

// Fills a field to its last byte: one more than allowed, and no terminator.
template <typename Record>
void overfill(Record& record, const Field& field, char letter) {
  std::memset(field.in(record), letter, field.size);
}

template <typename Record>
std::string bytes_of(const Record& record) {
  return {reinterpret_cast<const char*>(&record), sizeof record};
}

inline std::string place_of(std::size_t offset, std::span<const Field> fields) {
  for (const Field& field : fields) {
    if (offset >= field.offset && offset < field.offset + field.size) {
      return std::string(field.name) + "[" + std::to_string(offset - field.offset) + "]";
    }
  }
  return "byte " + std::to_string(offset);
}

// Compares every byte, including padding.
template <typename Record>
testing::AssertionResult same_bytes(const Record& actual, const Record& expected, std::span<const Field> fields) {
  const std::string left = bytes_of(actual);
  const std::string right = bytes_of(expected);
  const auto [found, wanted] = std::mismatch(left.begin(), left.end(), right.begin());
  if (found == left.end()) {
    return testing::AssertionSuccess();
  }
  return testing::AssertionFailure() << place_of(static_cast<std::size_t>(found - left.begin()), fields) << " is "
                                     << +*found << " instead of " << +*wanted;
}

// Including padding.
template <typename Record>
Record copy_of(const Record& record) {
  Record copy;
  std::memcpy(&copy, &record, sizeof copy);
  return copy;
}

// A record at the end of readable memory.
template <typename Record>
class RecordAtTheEnd {
 public:
  RecordAtTheEnd() { EXPECT_EQ(mprotect(pages_ + readable_, page_, PROT_NONE), 0); }
  ~RecordAtTheEnd() { munmap(pages_, readable_ + page_); }
  RecordAtTheEnd(const RecordAtTheEnd&) = delete;
  RecordAtTheEnd& operator=(const RecordAtTheEnd&) = delete;

  Record* get() { return reinterpret_cast<Record*>(pages_ + readable_ - sizeof(Record)); }
  Record& operator*() { return *get(); }

 private:
  std::size_t page_ = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  std::size_t readable_ = (sizeof(Record) + page_ - 1) / page_ * page_;
  char* pages_ =
      static_cast<char*>(mmap(nullptr, readable_ + page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
};

}  // namespace annal::test
