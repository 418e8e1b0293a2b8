// Reports the refused lines of a file, so that thousands of them stay readable.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace annalctl {

class Refusals {
 public:
  // What to print for a refused line: its reason if it is the first of its kind, otherwise nothing.
  [[nodiscard]] std::string add(const std::string& file, std::uint64_t line, const std::string& reason);

  // "FILE: 1,999 more like line 2", one line for each kind.
  [[nodiscard]] std::string rest(const std::string& file) const;

  [[nodiscard]] std::uint64_t count() const { return count_; }

 private:
  struct Kind {
    std::uint64_t first;
    std::uint64_t more;
  };
  // Reasons of one kind differ only in quoted texts and numbers.
  std::map<std::string, Kind> kinds_;
  std::uint64_t count_ = 0;
};

// With a comma between thousands.
[[nodiscard]] std::string grouped(std::uint64_t number);

}  // namespace annalctl
