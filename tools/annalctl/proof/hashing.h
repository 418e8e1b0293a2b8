// The hashes of a chain: commitments to entries, and the links between records.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace annalctl::proof {

using Byte = unsigned char;

// A salt is drawn after its entry was written, so whoever writes an entry cannot look for two with one commitment: 24
// bytes resist everything short of a second preimage.
using Commitment = std::array<Byte, 24>;
// Without its salt a commitment says nothing about the entry: nobody can try 2^96 of them.
using Salt = std::array<Byte, 12>;
using Hash = std::array<Byte, 32>;
using ChainId = std::array<Byte, 16>;

// To be called before anything else of this room. Throws std::runtime_error.
void start_hashing();

[[nodiscard]] Commitment commitment_of(const Salt& salt, std::string_view content);
[[nodiscard]] Hash link_of(const Hash& before, std::span<const Byte> record);
[[nodiscard]] Commitment short_hash_of(std::span<const Byte> message);

void fill_with_random(std::span<Byte> bytes);

[[nodiscard]] std::string hex_of(std::span<const Byte> bytes);
// False for a text that is not the hexadecimal form of exactly as many bytes.
[[nodiscard]] bool bytes_of_hex(std::string_view text, std::span<Byte> bytes);

}  // namespace annalctl::proof
