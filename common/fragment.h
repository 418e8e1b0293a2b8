// Statement fragments that a caller chooses by a code.
#pragma once

#include <span>

namespace annal {

// The fragment of a code; an empty one for a code behind the table's end. Which codes are refused is the query's own
// decision: several accept more codes than they have fragments for.
[[nodiscard]] constexpr const char* fragment(std::span<const char* const> table, unsigned code) noexcept {
  return code < table.size() ? table[code] : "";
}

}  // namespace annal
