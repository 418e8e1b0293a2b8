// Heads as bytes and as lines of JSON.
#include "tools/annalctl/proof/head.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>
#include <stdexcept>
#include <string_view>

#include "tools/annalctl/proof/little_endian.h"

namespace annalctl::proof {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view kMagic = "annhead1";
constexpr std::size_t kNameSize = 16;
constexpr std::size_t kSignedSize = 176;
constexpr std::size_t kSumSize = 8;

// Takes fields off the front of the bytes.
template <typename Bytes>
class Fields {
 public:
  explicit Fields(Bytes bytes) : left_(bytes) {}
  Bytes next(std::size_t size) {
    const Bytes field = left_.first(size);
    left_ = left_.subspan(size);
    return field;
  }

 private:
  Bytes left_;
};

template <typename From>
void copy(const From& from, std::span<Byte> to) {
  std::copy_n(from.begin(), std::min(from.size(), to.size()), to.begin());
}

void write_signed_part(const Head& head, std::span<Byte> bytes) {
  constexpr std::size_t kNumber = 8;
  Fields<std::span<Byte>> fields(bytes);
  copy(kMagic, fields.next(kMagic.size()));
  put_number(fields.next(kNumber), head.sequence);
  copy(head.chain, fields.next(head.chain.size()));
  copy(head.log, fields.next(kNameSize));
  put_number(fields.next(kNumber), head.first);
  put_number(fields.next(kNumber), head.records);
  copy(head.base, fields.next(head.base.size()));
  copy(head.hash, fields.next(head.hash.size()));
  put_number(fields.next(kNumber), static_cast<std::uint64_t>(head.last_id));
  put_number(fields.next(kNumber), static_cast<std::uint64_t>(head.time));
  copy(head.key, fields.next(head.key.size()));
}

using SignedBytes = std::array<Byte, kSignedSize>;

SignedBytes signed_part(const Head& head) {
  SignedBytes bytes{};
  write_signed_part(head, bytes);
  return bytes;
}

std::span<const Byte> sum_of(std::span<const Byte> bytes, Commitment& sum) {
  sum = short_hash_of(bytes);
  return std::span(sum).first(kSumSize);
}

template <typename Array>
void take_hex(const Json& json, const char* name, Array& bytes) {
  if (!bytes_of_hex(json.at(name).get<std::string>(), bytes)) {
    throw std::runtime_error(fmt::format("{} is not what it should be", name));
  }
}

Head head_from(const Json& json) {
  Head head;
  head.log = json.at("log").get<std::string>();
  head.sequence = json.at("sequence").get<std::uint64_t>();
  take_hex(json, "chain", head.chain);
  head.first = json.at("first").get<std::uint64_t>();
  take_hex(json, "base", head.base);
  head.records = json.at("records").get<std::uint64_t>();
  take_hex(json, "hash", head.hash);
  head.last_id = json.at("last_id").get<std::int64_t>();
  head.time = json.at("sealed").get<std::int64_t>();
  take_hex(json, "key", head.key);
  take_hex(json, "signature", head.signature);
  head.file = json.value("file", std::string());
  return head;
}

}  // namespace

void sign(Head& head, const SigningKey& key) {
  head.key = key.public_key();
  head.signature = key.sign(signed_part(head));
}

bool is_signed(const Head& head) {
  return is_signed(signed_part(head), head.signature, head.key);
}

HeadBytes bytes_of(const Head& head) {
  HeadBytes bytes{};
  write_signed_part(head, bytes);
  const std::span<Byte> rest = std::span(bytes).subspan(kSignedSize);
  copy(head.signature, rest);
  Commitment sum;
  copy(sum_of(std::span(bytes).first(kSignedSize + head.signature.size()), sum),
       rest.subspan(head.signature.size(), kSumSize));
  return bytes;
}

std::optional<Head> head_in(const HeadBytes& bytes) {
  constexpr std::size_t kNumber = 8;
  Head head;
  Commitment sum;
  const std::size_t summed = kSignedSize + head.signature.size();
  const std::span<const Byte> expected = sum_of(std::span(bytes).first(summed), sum);
  if (!std::equal(kMagic.begin(), kMagic.end(), bytes.begin()) ||
      !std::equal(expected.begin(), expected.end(), bytes.begin() + static_cast<std::ptrdiff_t>(summed))) {
    return {};
  }
  Fields<std::span<const Byte>> fields(bytes);
  fields.next(kMagic.size());
  head.sequence = number_in(fields.next(kNumber));
  copy(fields.next(head.chain.size()), head.chain);
  const auto name = fields.next(kNameSize);
  head.log.assign(name.begin(), std::find(name.begin(), name.end(), 0));
  head.first = number_in(fields.next(kNumber));
  head.records = number_in(fields.next(kNumber));
  copy(fields.next(head.base.size()), head.base);
  copy(fields.next(head.hash.size()), head.hash);
  head.last_id = static_cast<std::int64_t>(number_in(fields.next(kNumber)));
  head.time = static_cast<std::int64_t>(number_in(fields.next(kNumber)));
  copy(fields.next(head.key.size()), head.key);
  copy(fields.next(head.signature.size()), head.signature);
  if (head.first > head.records) {
    return {};
  }
  return head;
}

Commitment commitment_to(const Head& head) {
  return short_hash_of(signed_part(head));
}

std::string json_of(const Head& head) {
  Json json{{"log", head.log},
            {"chain", hex_of(head.chain)},
            {"sequence", head.sequence},
            {"first", head.first},
            {"base", hex_of(head.base)},
            {"records", head.records},
            {"hash", hex_of(head.hash)},
            {"last_id", head.last_id},
            {"sealed", head.time},
            {"key", hex_of(head.key)},
            {"signature", hex_of(head.signature)}};
  if (!head.file.empty()) {
    json["file"] = head.file;
  }
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::vector<Head> heads_in(const std::string& lines) {
  std::vector<Head> heads;
  std::istringstream input(lines);
  std::size_t number = 0;
  for (std::string line; std::getline(input, line);) {
    ++number;
    if (line.find_first_not_of(" \t\r") == std::string::npos) {
      continue;
    }
    try {
      heads.push_back(head_from(Json::parse(line)));
    } catch (const std::exception&) {
      throw std::runtime_error(fmt::format("line {} is no head of a chain", number));
    }
  }
  return heads;
}

}  // namespace annalctl::proof
