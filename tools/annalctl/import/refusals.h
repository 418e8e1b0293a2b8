// The lines of a file that cannot be taken, as a person can read of thousands of them.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace annalctl {

class Refusals {
 public:
  // What to print of a refused line: its reason, the first time that there is one of its kind, and else nothing.
  [[nodiscard]] std::string add(const std::string& file, std::uint64_t line, const std::string& reason);

  // "FILE: 1,999 more like line 2", a line a kind.
  [[nodiscard]] std::string rest(const std::string& file) const;

  [[nodiscard]] std::uint64_t count() const { return count_; }

 private:
  struct Kind {
    std::uint64_t first;
    std::uint64_t more;
  };
  // Reasons of one kind differ in what they quote and in numbers only.
  std::map<std::string, Kind> kinds_;
  std::uint64_t count_ = 0;
};

// With a comma between thousands.
[[nodiscard]] std::string grouped(std::uint64_t number);

}  // namespace annalctl
