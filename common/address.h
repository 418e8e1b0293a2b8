// Normalises an address in place, also in buffers of known size.
#pragma once

#include <cstddef>

namespace annal {

// annal_checkip is this for a buffer of unknown size. If an IPv4 address loses its IPv6 prefix, the bytes after it are
// cleared to the end of the old text, or of the buffer if its size is known.
[[nodiscard]] int check_address(char* ip, std::size_t size) noexcept;

// The same with the caller's own test for IPv4 addresses, which returns non-zero for one.
[[nodiscard]] int check_address(char* ip, std::size_t size, int (*is_ipv4)(const char* text)) noexcept;

inline constexpr std::size_t kUnknownSize = 0;

}  // namespace annal
