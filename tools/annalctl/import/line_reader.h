// Reads a file or standard input line by line, also if compressed with gzip, bzip2, xz, lzma or zstd.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

struct archive;

namespace annalctl {

// The file that is imported cannot be read.
class LinesFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class LineReader {
 public:
  // "-" is standard input. idle: called if a pipe has had nothing to read for a moment, before waiting more. Throws
  // LinesFailure.
  explicit LineReader(const std::string& name, std::function<void()> idle = {});
  ~LineReader();
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;

  enum class Got {
    kLine,
    kTooLong,  // longer than kLongest: skipped
    kEnd,      // also after a signal to stop
  };
  static constexpr std::size_t kLongest = std::size_t{1} << 20U;

  // The next line without its "\n". Throws LinesFailure.
  [[nodiscard]] Got next(std::string& line);

  [[nodiscard]] std::uint64_t number() const { return number_; }

  // How much of the file has been read, in percent; nothing if its size is unknown.
  [[nodiscard]] std::optional<int> percent() const;

 private:
  [[nodiscard]] bool refill();
  static ssize_t read_file(archive* reader, void* self, const void** buffer);

  int file_ = -1;
  archive* archive_;
  std::function<void()> idle_;
  std::int64_t size_ = 0;
  std::int64_t read_ = 0;
  std::vector<char> raw_;
  // What was read and not yet returned.
  const char* begin_ = nullptr;
  const char* end_ = nullptr;
  bool at_end_ = false;
  std::uint64_t number_ = 0;
};

}  // namespace annalctl
