// The keys that heads are signed with.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/proof/hashing.h"

namespace annalctl::proof {

using PublicKey = std::array<Byte, 32>;
using Signature = std::array<Byte, 64>;

// Forgets the secret when it goes.
class SigningKey {
 public:
  static constexpr std::size_t kSeedSize = 32;

  explicit SigningKey(std::span<const Byte, kSeedSize> seed);
  ~SigningKey();
  SigningKey(const SigningKey&) = delete;
  SigningKey& operator=(const SigningKey&) = delete;
  SigningKey(SigningKey&& other) noexcept;
  SigningKey& operator=(SigningKey&&) = delete;

  [[nodiscard]] const PublicKey& public_key() const { return public_; }
  [[nodiscard]] Signature sign(std::span<const Byte> message) const;

 private:
  PublicKey public_{};
  std::array<Byte, 64> secret_{};
};

[[nodiscard]] bool is_signed(std::span<const Byte> message, const Signature& signature, const PublicKey& key);

// Public keys as their file has them, the oldest first. Each later one is signed by the one before it, so that whoever
// has an earlier file knows the later keys too.
struct PublicKeyLine {
  PublicKey key{};
  std::optional<Signature> endorsement;
};
[[nodiscard]] Signature endorse(const SigningKey& before, const PublicKey& next);
[[nodiscard]] std::string text_of(const PublicKeyLine& line);
// Throws std::runtime_error, which names the line.
[[nodiscard]] std::vector<PublicKeyLine> public_keys_in(const std::string& text);
// The trusted keys, and those of the other file that they vouch for one after another.
[[nodiscard]] std::vector<PublicKey> trusted_keys(const std::vector<PublicKeyLine>& trusted,
                                                  const std::vector<PublicKeyLine>& others);

}  // namespace annalctl::proof
