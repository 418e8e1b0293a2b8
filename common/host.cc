// The host's own name and address, as every log stores them.
#include <cstddef>

#include "Corix_annal.h"
#include "common/record.h"

namespace {

// The width that callers' buffers have at least, and that is always written in full.
constexpr std::size_t kHostBuffer = 64;

int write_host(char* out, const char* text) noexcept {
  if (out == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  annal::fill_field(out, text, kHostBuffer);
  return ANNAL_OK;
}

}  // namespace

int annal_gethostname(char* out) noexcept {
  return write_host(out, annal::kHostName);
}

int annal_getlocalip(char* out) noexcept {
  return write_host(out, annal::kLocalAddress);
}
