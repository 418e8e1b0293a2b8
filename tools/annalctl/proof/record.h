// The records of a chain, 47 bytes each: what was sealed, redacted and declared gone, in the order in which it was.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "tools/annalctl/proof/hashing.h"

namespace annalctl::proof {

enum class Kind : std::uint8_t {
  kEntry = 1,      // a commitment to an entry, as it was when it was sealed
  kRedaction = 2,  // a commitment to an entry without what was personal, in place of an earlier one
  kGone = 3,       // entries, from one id through another, that were deleted as they may be
  kBegun = 4,      // the chain continues one that was set aside; the commitment is to its last head
};

// Why entries are gone.
enum class Reason : std::uint8_t {
  kLimit = 1,  // the log was full
  kTrim = 2,
  kKeep = 3,
  kDelete = 4,
  kFlush = 5,
  kAge = 6,
  kAccepted = 7,  // somebody has seen that they are missing
};

[[nodiscard]] std::string_view name_of(Reason reason);
[[nodiscard]] std::optional<Reason> reason_of(std::string_view name);

struct Record {
  Kind kind = Kind::kEntry;
  std::int64_t id = 0;     // of the entry, the first of those that are gone, or the number of the chain
  std::uint32_t time = 0;  // of the entry, as its log orders by it; of other records when they were written
  Commitment commitment{};
  Salt salt{};  // zeroes: was erased

  bool operator==(const Record&) const = default;
};

struct GoneRange {
  std::int64_t from = 0;
  std::int64_t through = 0;
  std::uint32_t declared = 0;
  Reason reason = Reason::kLimit;
};

[[nodiscard]] Record record_of(const GoneRange& range);
[[nodiscard]] GoneRange range_of(const Record& record);

constexpr std::size_t kRecordSize = 47;
// The rest is the salt, which may be erased.
constexpr std::size_t kLinkedSize = 35;
// No log gets there by itself: a thousand entries a second take 9,000 years.
constexpr std::int64_t kHighestId = (std::int64_t{1} << 48U) - 1;

using RecordBytes = std::span<Byte, kRecordSize>;
using ConstRecordBytes = std::span<const Byte, kRecordSize>;

void write(const Record& record, RecordBytes bytes);
// Nothing for what is no record.
[[nodiscard]] std::optional<Record> read(ConstRecordBytes bytes);

[[nodiscard]] inline std::span<const Byte> linked_part(ConstRecordBytes bytes) {
  return bytes.first<kLinkedSize>();
}
[[nodiscard]] bool is_erased(const Salt& salt);
// Whether the record's commitment is to that content. None is once its salt was erased.
[[nodiscard]] bool commits_to(const Record& record, std::string_view content);

// A tombstone of an entry that had been changed before it was redacted: it commits to nothing.
[[nodiscard]] Record tombstone_of_changed(std::int64_t id, std::uint32_t time);
[[nodiscard]] bool is_of_changed(const Record& tombstone);

}  // namespace annalctl::proof
