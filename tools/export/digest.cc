// Hashes with the 128-bit variant of XXH3.
#include "tools/export/digest.h"

#include <fmt/format.h>
#include <xxhash.h>

namespace exporter {

std::string digest_of(std::string_view bytes) {
  const XXH128_hash_t digest = XXH3_128bits(bytes.data(), bytes.size());
  return fmt::format("{:016x}{:016x}", digest.high64, digest.low64);
}

}  // namespace exporter
