// The exported flags. Programs use them as the plain integers that they are, while other threads call the library: here
// they are never read or written but atomically.
#pragma once

#include <atomic>

namespace annal {

[[nodiscard]] inline bool is_set(int& flag) noexcept {
  return std::atomic_ref(flag).load(std::memory_order_relaxed) != 0;
}

inline void set(int& flag, bool on) noexcept {
  std::atomic_ref(flag).store(on ? 1 : 0, std::memory_order_relaxed);
}

}  // namespace annal
