// Preloaded into annalctl, so that every run on every processor writes the same files: the clocks stand still, so that
// no work is paced by them, and there are no random bytes. For comparing files only.
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ctime>

// Beyond 31 bits, and within the 32 that a chain has.
static constexpr std::time_t kNow = 3'000'000'000;

extern "C" std::time_t time(std::time_t* out) noexcept {
  if (out != nullptr) {
    *out = kNow;
  }
  return kNow;
}

std::chrono::steady_clock::time_point std::chrono::steady_clock::now() noexcept {
  return {};
}

// libsodium's. The bytes differ within a call and between calls, as salts must.
extern "C" void randombytes_buf(void* buf, std::size_t size) {
  static std::uint8_t next = 0;
  auto* const bytes = static_cast<std::uint8_t*>(buf);
  for (std::size_t n = 0; n < size; ++n) {
    bytes[n] = ++next;
  }
}
