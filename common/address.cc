// Checks a client's address and normalises it to the form that the logs store.
#include "common/address.h"

#include <strings.h>

#include <algorithm>
#include <cstring>

#include "Corix_annal.h"
#include "platform/platform.h"

namespace {

constexpr char kMappedPrefix[] = "::ffff:";
constexpr std::size_t kMappedPrefixLength = sizeof kMappedPrefix - 1;

// Real addresses are shorter. If a platform accepts a longer one, the rest of its text stays in place.
constexpr std::size_t kMaxMoved = 63;

// Moves the text over its prefix and clears the bytes after it, so that fields can be compared whole. In a buffer of
// unknown size it writes nothing beyond the old text.
void drop_prefix(char* text, std::size_t size) noexcept {
  const std::size_t length = strnlen(text + kMappedPrefixLength, kMaxMoved);
  const std::size_t cleared_to = std::clamp(size, std::min(length + kMappedPrefixLength, kMaxMoved), kMaxMoved);
  std::memmove(text, text + kMappedPrefixLength, length);
  std::memset(text + length, 0, cleared_to - length);
}

}  // namespace

int annal::check_address(char* ip, std::size_t size) noexcept {
  return check_address(ip, size, &Is_Valid_Source);
}

int annal::check_address(char* ip, std::size_t size, int (*is_ipv4)(const char* text)) noexcept {
  if (ip == nullptr) {
    return ANNAL_NO_MEMORY;
  }
  if (char* zone = std::strchr(ip, '%')) {
    *zone = '\0';
  }
  if (IS_IPv6_Address(ip) != 0) {
    if (strncasecmp(ip, kMappedPrefix, kMappedPrefixLength) == 0) {
      drop_prefix(ip, size);
    }
    return ANNAL_OK;
  }
  return is_ipv4(ip) != 0 ? ANNAL_OK : ANNAL_BAD_ARGUMENT;
}

int annal_checkip(char* ip) noexcept {
  return annal::check_address(ip, annal::kUnknownSize);
}
