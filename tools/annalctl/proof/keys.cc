// Ed25519 as libsodium has it.
#include "tools/annalctl/proof/keys.h"

#include <fmt/format.h>
#include <sodium.h>

#include <algorithm>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <utility>

namespace annalctl::proof {

namespace {

constexpr std::string_view kLineBegins = "annal-seal-key";
constexpr std::string_view kEndorses = "annal endorses ";

// What is signed as an endorsement begins like nothing else that is signed.
using Endorsed = std::array<Byte, kEndorses.size() + sizeof(PublicKey)>;

Endorsed endorsed(const PublicKey& key) {
  Endorsed message;
  std::copy(key.begin(), key.end(), std::copy(kEndorses.begin(), kEndorses.end(), message.begin()));
  return message;
}

bool holds(const std::vector<PublicKey>& keys, const PublicKey& key) {
  return std::find(keys.begin(), keys.end(), key) != keys.end();
}

}  // namespace

SigningKey::SigningKey(std::span<const Byte, kSeedSize> seed) {
  crypto_sign_seed_keypair(public_.data(), secret_.data(), seed.data());
}

SigningKey::~SigningKey() {
  sodium_memzero(secret_.data(), secret_.size());
}

SigningKey::SigningKey(SigningKey&& other) noexcept : public_(other.public_), secret_(other.secret_) {
  sodium_memzero(other.secret_.data(), other.secret_.size());
}

Signature SigningKey::sign(std::span<const Byte> message) const {
  Signature signature;
  crypto_sign_detached(signature.data(), nullptr, message.data(), message.size(), secret_.data());
  return signature;
}

bool is_signed(std::span<const Byte> message, const Signature& signature, const PublicKey& key) {
  return crypto_sign_verify_detached(signature.data(), message.data(), message.size(), key.data()) == 0;
}

Signature endorse(const SigningKey& before, const PublicKey& next) {
  return before.sign(endorsed(next));
}

std::string text_of(const PublicKeyLine& line) {
  std::string text = fmt::format("{} {}", kLineBegins, hex_of(line.key));
  if (line.endorsement) {
    text += " " + hex_of(*line.endorsement);
  }
  return text + "\n";
}

std::vector<PublicKeyLine> public_keys_in(const std::string& text) {
  std::vector<PublicKeyLine> lines;
  std::istringstream input(text);
  std::size_t number = 0;
  for (std::string line; std::getline(input, line);) {
    ++number;
    std::istringstream words(line);
    std::string begin;
    std::string key;
    std::string endorsement;
    words >> begin >> key >> endorsement;
    if (begin.empty() || begin.starts_with('#')) {
      continue;
    }
    PublicKeyLine& read = lines.emplace_back();
    bool good = begin == kLineBegins && bytes_of_hex(key, read.key);
    if (good && !endorsement.empty()) {
      good = bytes_of_hex(endorsement, read.endorsement.emplace());
    }
    if (!good) {
      throw std::runtime_error(fmt::format("line {} is no public key", number));
    }
  }
  return lines;
}

std::vector<PublicKey> trusted_keys(const std::vector<PublicKeyLine>& trusted,
                                    const std::vector<PublicKeyLine>& others) {
  std::vector<PublicKey> keys;
  keys.reserve(trusted.size() + others.size());
  for (const PublicKeyLine& line : trusted) {
    keys.push_back(line.key);
  }
  for (const PublicKeyLine& line : others) {
    if (!line.endorsement || holds(keys, line.key)) {
      continue;
    }
    const Endorsed message = endorsed(line.key);
    if (std::any_of(keys.begin(), keys.end(),
                    [&line, &message](const PublicKey& key) { return is_signed(message, *line.endorsement, key); })) {
      keys.push_back(line.key);
    }
  }
  return keys;
}

}  // namespace annalctl::proof
