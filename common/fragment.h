// Statement fragments that a caller selects by a code.
#pragma once

#include <span>

namespace annal {

// The fragment for a code, or an empty text beyond the end of the table. Which codes are refused is up to the query:
// several accept more codes than they have fragments for.
[[nodiscard]] constexpr const char* fragment(std::span<const char* const> table, unsigned code) noexcept {
  return code < table.size() ? table[code] : "";
}

}  // namespace annal
