// Shared by the fuzz programs: parsing an input, a private appliance whose logs can be restored, and the checks after
// every call.
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

// Aborts the program if a condition is false, so that the input is kept.
void require(bool holds, std::string_view what);

// Reads the input from front to back. After its end every value is 0 or empty.
class Input {
 public:
  Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

  [[nodiscard]] bool empty() const { return rest_.empty(); }
  std::uint8_t byte();
  bool flag() { return (byte() & 1U) != 0; }
  // 0 to one less than the bound.
  unsigned below(unsigned bound) { return byte() % bound; }
  // Mostly small numbers near the limits that functions check; sometimes any.
  std::int32_t number();
  unsigned code() { return static_cast<unsigned>(number()); }

  // Up to N raw bytes.
  std::string bytes(std::size_t most);
  // A text without zero bytes: short, or near a bound's length.
  std::string text(std::size_t bound);
  // The same, or null.
  std::optional<std::string> text_or_none(std::size_t bound);
  // A text for a place where it goes unescaped between quotes.
  std::string unquoted(std::size_t bound);
  std::string line();

  // A record's field: empty, a text that fits, one that does not, one without a terminator, or raw bytes.
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

// For records too: the caller may set every byte.
inline bool same_bytes(const void* left, const void* right, std::size_t size) {
  return std::memcmp(left, right, size) == 0;
}

// Whether commands can start. Without them an input takes a tenth of the time.
void allow_commands(bool allowed);

// The files of /etc/logs by their paths.
using Files = std::map<std::string, std::string>;
Files files();
void put_back(const Files& files);

// The rows, with no value for NULL; no result if the statement fails.
using Value = std::optional<std::string>;
using Rows = std::vector<std::vector<Value>>;
std::optional<Rows> rows(const char* path, const std::string& sql);
// Runs the fuzz program's own statements, which must not fail.
void run(const char* path, const std::string& sql);
// Runs statements that may fail.
bool run_tolerantly(const char* path, const std::string& sql);

// Counts a listing's rows and can stop it.
struct Listing {
  int columns = 0;
  int delivered = 0;
  int stop_at = 0;  // the row at which the callback stops; 0 for none

  [[nodiscard]] bool stopped() const { return stop_at > 0 && delivered >= stop_at; }
  static int callback(void* context, int columns, char** values, char** names);
};

// True for ANNAL_OK, a count of 0 or more, and the given failures.
void require_answer(std::int64_t answer, std::span<const int> failures);

// Checks that the code in its scope leaks no SQLite memory and no descriptor.
class LeakCheck {
 public:
  LeakCheck();
  ~LeakCheck();
  LeakCheck(const LeakCheck&) = delete;
  LeakCheck& operator=(const LeakCheck&) = delete;

 private:
  std::int64_t memory_;
  std::size_t descriptors_;
};

}  // namespace annal::fuzz

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);
