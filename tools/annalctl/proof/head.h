// The head of a chain: how far it goes, and a signature. Whoever keeps a head elsewhere can tell later whether the
// chain still has what it had then.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/proof/hashing.h"
#include "tools/annalctl/proof/keys.h"

namespace annalctl::proof {

struct Head {
  std::uint64_t sequence = 0;  // rises with each head of a chain
  ChainId chain{};
  std::string log;  // the name of the log's kind
  // The records before the first have been dropped: all were of entries that are gone. Both counts are from the chain's
  // beginning.
  std::uint64_t first = 0;
  Hash base{};  // the link before the first
  std::uint64_t records = 0;
  Hash hash{};  // the link of the last
  std::int64_t last_id = 0;
  std::int64_t time = 0;  // seconds since 1970
  PublicKey key{};
  Signature signature{};
  // Not signed: the log's file, where a line says so, because logs of one kind can be in several.
  std::string file{};

  bool operator==(const Head&) const = default;
};

constexpr std::size_t kHeadSize = 256;
using HeadBytes = std::array<Byte, kHeadSize>;

void sign(Head& head, const SigningKey& key);
// By its own key, which is to be trusted for other reasons.
[[nodiscard]] bool is_signed(const Head& head);

[[nodiscard]] HeadBytes bytes_of(const Head& head);
// Nothing for a head that was not written as a whole.
[[nodiscard]] std::optional<Head> head_in(const HeadBytes& bytes);

// A commitment to all that is signed.
[[nodiscard]] Commitment commitment_to(const Head& head);

// The head as an object on one line, without the line's end.
[[nodiscard]] std::string json_of(const Head& head);
// The heads among lines of JSON. Throws std::runtime_error, which names the line.
[[nodiscard]] std::vector<Head> heads_in(const std::string& lines);

}  // namespace annalctl::proof
