// The exported flags. Programs use them as plain integers while other threads call the library, so the library only
// reads and writes them atomically.
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
