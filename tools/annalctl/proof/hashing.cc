// BLAKE2b as libsodium has it, a different personalization for each purpose.
#include "tools/annalctl/proof/hashing.h"

#include <sodium.h>

#include <cstring>
#include <stdexcept>

namespace annalctl::proof {

namespace {

using Purpose = std::array<Byte, crypto_generichash_blake2b_PERSONALBYTES>;

constexpr Purpose kEntry{'a', 'n', 'n', 'a', 'l', ' ', 'e', 'n', 't', 'r', 'y'};
constexpr Purpose kLink{'a', 'n', 'n', 'a', 'l', ' ', 'l', 'i', 'n', 'k'};
constexpr Purpose kMessage{'a', 'n', 'n', 'a', 'l', ' ', 'h', 'e', 'a', 'd'};

void hash(std::span<Byte> to, std::span<const Byte> first, std::span<const Byte> second, const Purpose& purpose) {
  crypto_generichash_blake2b_state state;
  crypto_generichash_blake2b_init_salt_personal(&state, nullptr, 0, to.size(), nullptr, purpose.data());
  crypto_generichash_blake2b_update(&state, first.data(), first.size());
  crypto_generichash_blake2b_update(&state, second.data(), second.size());
  crypto_generichash_blake2b_final(&state, to.data(), to.size());
}

}  // namespace

void start_hashing() {
  if (sodium_init() < 0) {
    throw std::runtime_error("libsodium cannot be initialized");
  }
}

Commitment commitment_of(const Salt& salt, std::string_view content) {
  Commitment commitment;
  hash(commitment, salt, {reinterpret_cast<const Byte*>(content.data()), content.size()}, kEntry);
  return commitment;
}

Hash link_of(const Hash& before, std::span<const Byte> record) {
  Hash link;
  hash(link, before, record, kLink);
  return link;
}

Commitment short_hash_of(std::span<const Byte> message) {
  Commitment sum;
  hash(sum, message, {}, kMessage);
  return sum;
}

void fill_with_random(std::span<Byte> bytes) {
  randombytes_buf(bytes.data(), bytes.size());
}

std::string hex_of(std::span<const Byte> bytes) {
  std::string text(bytes.size() * 2 + 1, '\0');
  sodium_bin2hex(text.data(), text.size(), bytes.data(), bytes.size());
  text.pop_back();
  return text;
}

bool bytes_of_hex(std::string_view text, std::span<Byte> bytes) {
  std::size_t written = 0;
  return text.size() == bytes.size() * 2 &&
         sodium_hex2bin(bytes.data(), bytes.size(), text.data(), text.size(), nullptr, &written, nullptr) == 0 &&
         written == bytes.size();
}

}  // namespace annalctl::proof
