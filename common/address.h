// Normalising an address in place, for buffers of which more is known than that they hold a text.
#pragma once

#include <cstddef>

namespace annal {

// As annal_checkip, which this is for a buffer of unknown size: where an IPv4 address loses its IPv6 prefix, the bytes
// behind it are cleared at least as far as the old text went, and up to the buffer's size where that is known.
[[nodiscard]] int check_address(char* ip, std::size_t size) noexcept;

// The same with another opinion of what an IPv4 address is: not 0 for one.
[[nodiscard]] int check_address(char* ip, std::size_t size, int (*is_ipv4)(const char* text)) noexcept;

inline constexpr std::size_t kUnknownSize = 0;

}  // namespace annal
