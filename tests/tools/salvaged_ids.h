// The ids of rows as salvage lists them.
#pragma once

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

namespace annal::test {

// Of "3, 7-9, 12".
inline std::set<std::int64_t> ids_in(const std::string& text) {
  std::set<std::int64_t> ids;
  const char* const end = text.data() + text.size();
  for (const char* place = text.data(); place < end; place += std::min<std::ptrdiff_t>(2, end - place)) {
    std::int64_t first = 0;
    place = std::from_chars(place, end, first).ptr;
    std::int64_t last = first;
    if (place < end && *place == '-') {
      place = std::from_chars(place + 1, end, last).ptr;
    }
    for (std::int64_t id = first;; ++id) {
      ids.insert(id);
      if (id == last) {
        break;
      }
    }
  }
  return ids;
}

}  // namespace annal::test
