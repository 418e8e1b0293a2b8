// What the fuzz programs share: taking an input apart, a private appliance whose logs can be put back, and the checks
// that hold after every call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace annal::fuzz {

inline constexpr const char* kEventLog = "/etc/logs/event.log";
inline constexpr const char* kConnLog = "/etc/logs/conn.log";
inline constexpr const char* kNoticeLog = "/etc/logs/notice.log";
inline constexpr const char* kFileOpLog = "/etc/logs/fileop.db";

// Ends the program when something is not as it must be, so that the input is kept.
void require(bool holds, std::string_view what);

// The input, from front to back. Behind its end everything is 0 and empty.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

  [[nodiscard]] bool empty() const { return rest_.empty(); }
  std::uint8_t byte();
  bool flag() { return (byte() & 1U) != 0; }
  // 0 to one less than the bound.
  unsigned below(unsigned bound) { return byte() % bound; }
  // Mostly small and near what functions check against; any at times.
  std::int32_t number();
  unsigned code() { return static_cast<unsigned>(number()); }

  // The raw bytes, as many as there are.
  std::string bytes(std::size_t most);
  // Without a zero byte: short, or as long as a bound or around it.
  std::string text(std::size_t bound);
  // The same or nothing.
  std::optional<std::string> text_or_none(std::size_t bound);
  // What a caller may put where a text goes unescaped between quotes.
  std::string unquoted(std::size_t bound);
  std::string line();

  // A field of a record: empty, a text that fits, one that does not, one with no end inside it, or raw bytes.
  void fill(std::span<char> field);

  template <typename Choices>
  const auto& one_of(const Choices& choices) {
    return choices[below(static_cast<unsigned>(std::size(choices)))];
  }

 private:
  std::span<const std::uint8_t> rest_;
};

inline const char* or_null(const std::optional<std::string>& text) {
  return text ? text->c_str() : nullptr;
}

// Of records too, whose bytes are all the caller's.
inline bool same_bytes(const void* left, const void* right, std::size_t size) {
  return std::memcmp(left, right, size) == 0;
}

// Whether commands can be started at all. Without it an input costs a tenth.
void allow_commands(bool allowed);

// The files of /etc/logs by their paths.
using Files = std::map<std::string, std::string>;
Files files();
void put_back(const Files& files);

// Row by row, a NULL as nothing; nothing at all for a statement that fails.
using Value = std::optional<std::string>;
using Rows = std::vector<std::vector<Value>>;
std::optional<Rows> rows(const char* path, const std::string& sql);
// For statements of the program's own, which must not fail.
void run(const char* path, const std::string& sql);
// For those that may.
bool try_to_run(const char* path, const std::string& sql);

// Counts the rows that a listing delivers, and stops it when it is told to.
struct Listing {
  int columns = 0;
  int delivered = 0;
  int stop_at = 0;  // the row whose callback answers so; 0 for none

  [[nodiscard]] bool stopped() const { return stop_at > 0 && delivered >= stop_at; }
  static int callback(void* context, int columns, char** values, char** names);
};

// Of ANNAL_OK, or of a count of 0 or more, and the failures.
void require_answer(std::int64_t answer, std::span<const int> failures);

// Sees to it that what is between its birth and its end leaves no memory of SQLite's and no descriptor behind.
class NothingLeft {
 public:
  NothingLeft();
  ~NothingLeft();
  NothingLeft(const NothingLeft&) = delete;
  NothingLeft& operator=(const NothingLeft&) = delete;

 private:
  std::int64_t memory_;
  std::size_t descriptors_;
};

}  // namespace annal::fuzz

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
