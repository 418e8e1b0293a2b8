// The page of rows that a caller requests.
#pragma once

#include <cstdio>

namespace annal {

// Rows from start up to, but not including, end. Both 0 means "all rows", so an empty page at the very beginning is the
// one page that cannot be requested.
class RowRange {
 public:
  RowRange(int start, int end) noexcept : valid_(0 <= start && start <= end) {
    if (valid_ && (start != 0 || end != 0)) {
      (void)std::snprintf(clause_, sizeof clause_, "LIMIT %d OFFSET %d", end - start, start);
    }
  }

  [[nodiscard]] bool valid() const noexcept { return valid_; }
  [[nodiscard]] const char* clause() const noexcept { return clause_; }

 private:
  bool valid_;
  char clause_[sizeof "LIMIT -2147483648 OFFSET -2147483648"] = "";
};

}  // namespace annal
