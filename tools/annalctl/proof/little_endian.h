// Numbers as they are in files.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace annalctl::proof {

inline void put_number(std::span<unsigned char> bytes, std::uint64_t number) {
  for (unsigned char& byte : bytes) {
    byte = static_cast<unsigned char>(number & 0xFFU);
    number >>= 8U;
  }
}

[[nodiscard]] inline std::uint64_t number_in(std::span<const unsigned char> bytes) {
  std::uint64_t number = 0;
  for (std::size_t place = bytes.size(); place > 0; --place) {
    number = (number << 8U) | bytes[place - 1];
  }
  return number;
}

}  // namespace annalctl::proof
