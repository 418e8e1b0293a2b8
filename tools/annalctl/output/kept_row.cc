// Copies a row.
#include "tools/annalctl/output/kept_row.h"

#include <algorithm>
#include <cstddef>

namespace annalctl {

KeptRow::KeptRow(Row values) {
  values_.reserve(values.size());
  for (const char* value : values) {
    values_.push_back(value == nullptr ? std::nullopt : std::optional<std::string>(value));
  }
}

std::vector<const char*> KeptRow::values() const {
  std::vector<const char*> pointers;
  pointers.reserve(values_.size());
  for (const auto& value : values_) {
    pointers.push_back(value ? value->c_str() : nullptr);
  }
  return pointers;
}

bool KeptRow::agrees_with(const KeptRow& other) const {
  const auto size = static_cast<std::ptrdiff_t>(std::min(values_.size(), other.values_.size()));
  return std::equal(values_.begin(), values_.begin() + size, other.values_.begin());
}

}  // namespace annalctl
