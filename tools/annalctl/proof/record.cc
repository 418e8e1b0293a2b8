// Kind, id, time, commitment, salt: 1, 6, 4, 24 and 12 bytes.
#include "tools/annalctl/proof/record.h"

#include <algorithm>

#include "tools/annalctl/proof/little_endian.h"

namespace annalctl::proof {

namespace {

constexpr std::size_t kIdAt = 1;
constexpr std::size_t kTimeAt = 7;
constexpr std::size_t kCommitmentAt = 11;
constexpr std::size_t kIdSize = kTimeAt - kIdAt;

struct ReasonName {
  Reason reason;
  std::string_view name;
};
constexpr std::array kReasons{
    ReasonName{Reason::kLimit, "limit"},       ReasonName{Reason::kTrim, "trim"},   ReasonName{Reason::kKeep, "keep"},
    ReasonName{Reason::kDelete, "delete"},     ReasonName{Reason::kFlush, "flush"}, ReasonName{Reason::kAge, "age"},
    ReasonName{Reason::kAccepted, "accepted"},
};

}  // namespace

std::string_view name_of(Reason reason) {
  const auto* const found =
      std::find_if(kReasons.begin(), kReasons.end(), [reason](const ReasonName& one) { return one.reason == reason; });
  return found == kReasons.end() ? "unknown" : found->name;
}

std::optional<Reason> reason_of(std::string_view name) {
  const auto* const found =
      std::find_if(kReasons.begin(), kReasons.end(), [name](const ReasonName& one) { return one.name == name; });
  return found == kReasons.end() ? std::nullopt : std::optional(found->reason);
}

// What another record has its commitment in tells here where the range ends, and why.
Record record_of(const GoneRange& range) {
  Record record{.kind = Kind::kGone, .id = range.from, .time = range.declared};
  put_number(std::span(record.commitment).first(kIdSize), static_cast<std::uint64_t>(range.through));
  record.commitment[kIdSize] = static_cast<Byte>(range.reason);
  return record;
}

GoneRange range_of(const Record& record) {
  return {.from = record.id,
          .through = static_cast<std::int64_t>(number_in(std::span(record.commitment).first(kIdSize))),
          .declared = record.time,
          .reason = static_cast<Reason>(record.commitment[kIdSize])};
}

void write(const Record& record, RecordBytes bytes) {
  bytes[0] = static_cast<Byte>(record.kind);
  put_number(bytes.subspan(kIdAt, kIdSize), static_cast<std::uint64_t>(record.id));
  put_number(bytes.subspan(kTimeAt, kCommitmentAt - kTimeAt), record.time);
  std::copy(record.commitment.begin(), record.commitment.end(), bytes.begin() + kCommitmentAt);
  std::copy(record.salt.begin(), record.salt.end(), bytes.begin() + kLinkedSize);
}

std::optional<Record> read(ConstRecordBytes bytes) {
  if (bytes[0] < static_cast<Byte>(Kind::kEntry) || bytes[0] > static_cast<Byte>(Kind::kBegun)) {
    return {};
  }
  Record record;
  record.kind = static_cast<Kind>(bytes[0]);
  record.id = static_cast<std::int64_t>(number_in(bytes.subspan(kIdAt, kIdSize)));
  record.time = static_cast<std::uint32_t>(number_in(bytes.subspan(kTimeAt, kCommitmentAt - kTimeAt)));
  std::copy_n(bytes.begin() + kCommitmentAt, record.commitment.size(), record.commitment.begin());
  std::copy_n(bytes.begin() + kLinkedSize, record.salt.size(), record.salt.begin());
  return record;
}

bool is_erased(const Salt& salt) {
  return std::all_of(salt.begin(), salt.end(), [](Byte byte) { return byte == 0; });
}

bool commits_to(const Record& record, std::string_view content) {
  return !is_erased(record.salt) && commitment_of(record.salt, content) == record.commitment;
}

Record tombstone_of_changed(std::int64_t id, std::uint32_t time) {
  return {.kind = Kind::kRedaction, .id = id, .time = time, .commitment = {}, .salt = {}};
}

bool is_of_changed(const Record& tombstone) {
  return tombstone.commitment == Commitment{};
}

}  // namespace annalctl::proof
