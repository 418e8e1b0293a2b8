// Checks and fills the text fields of callers' records.
#include "common/record.h"

#include <cstring>

namespace annal {

void fill_field(char* field, const char* text, std::size_t width) noexcept {
  const std::size_t length = strnlen(text, width);
  std::memcpy(field, text, length);
  std::memset(field + length, 0, width - length);
}

bool within_bounds(void* record, std::span<const FieldBound> fields) noexcept {
  for (const auto& [offset, bound, replacement] : fields) {
    char* field = static_cast<char*>(record) + offset;
    if (strnlen(field, bound + 1) <= bound) {
      continue;
    }
    if (replacement == nullptr) {
      return false;
    }
    fill_field(field, replacement, bound);
  }
  return true;
}

void fill_empty_fields(void* record, std::span<const FieldDefault> fields) noexcept {
  for (const auto& [offset, text, width] : fields) {
    char* field = static_cast<char*>(record) + offset;
    if (*field == '\0') {
      fill_field(field, text, width);
    }
  }
}

}  // namespace annal
