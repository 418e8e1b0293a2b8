// Reads a file, or standard input, line by line; gzipped files as well as plain ones.
#pragma once

#include <zlib.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace annalctl {

class ReadFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

class LineReader {
 public:
  // "-" is standard input. Throws ReadFailure.
  explicit LineReader(const std::string& name);

  enum class Got {
    kLine,
    kTooLong,  // longer than kLongest: skipped
    kEnd,
  };
  static constexpr std::size_t kLongest = std::size_t{1} << 20U;

  // The next line without its end ("\n" or "\r\n"). Throws ReadFailure.
  [[nodiscard]] Got next(std::string& line);

  [[nodiscard]] std::uint64_t number() const { return number_; }

  // How much of the file has been read, in percent; nothing when its size is not known.
  [[nodiscard]] std::optional<int> percent() const;

 private:
  struct Close {
    void operator()(gzFile file) const { gzclose_r(file); }
  };

  [[nodiscard]] bool refill();

  std::unique_ptr<std::remove_pointer_t<gzFile>, Close> file_;
  std::int64_t size_ = 0;
  std::vector<char> buffer_;
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
  std::uint64_t number_ = 0;
};

}  // namespace annalctl
