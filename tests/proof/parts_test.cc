// The parts of a chain that know neither files nor logs.
#include <gtest/gtest.h>
#include <limits>

#include <algorithm>

#include "tools/annalctl/proof/comparison.h"
#include "tools/annalctl/proof/content.h"
#include "tools/annalctl/proof/head.h"
#include "tools/annalctl/proof/keys.h"
#include "tools/annalctl/proof/record.h"

namespace annalctl::proof {

namespace {

class ProofParts : public testing::Test {
 protected:
  void SetUp() override { start_hashing(); }

  static SigningKey some_key(Byte first) {
    std::array<Byte, SigningKey::kSeedSize> seed{first};
    return SigningKey(seed);
  }

  static Record entry(std::int64_t id, std::string_view content, std::uint32_t time = 100) {
    Record record{.kind = Kind::kEntry, .id = id, .time = time, .commitment = {}, .salt = {}};
    fill_with_random(record.salt);
    record.commitment = commitment_of(record.salt, content);
    return record;
  }

  struct Row {
    std::int64_t id;
    std::string content;
  };

  static Report compare(const std::vector<Record>& records, const std::vector<Row>& rows, bool is_full = false) {
    Notes notes;
    std::uint64_t position = 0;
    std::int64_t last = 0;
    for (const Record& record : records) {
      notes.add(position++, record);
      last = record.kind == Kind::kEntry ? record.id : last;
    }
    notes.finish();
    auto next = records.begin();
    Comparison comparison(
        notes,
        [&next, &records](Record& record) {
          next = std::find_if(next, records.end(), [](const Record& one) { return one.kind == Kind::kEntry; });
          if (next == records.end()) {
            return false;
          }
          record = *next++;
          return true;
        },
        last);
    for (const Row& row : rows) {
      comparison.add(row.id, row.content);
    }
    const auto oldest_now = [&records, &rows] {
      std::optional<Comparison::Age> oldest;
      for (const Record& record : records) {
        const Comparison::Age age(record.time, record.id);
        if (record.kind == Kind::kEntry && (!oldest || age < *oldest) &&
            std::any_of(rows.begin(), rows.end(), [&record](const Row& row) { return row.id == record.id; })) {
          oldest = age;
        }
      }
      return oldest;
    };
    return comparison.finish(is_full ? oldest_now : Comparison::OldestNow());
  }

  static std::string summary(const Report& report) {
    std::string text;
    for (const Finding& finding : report.findings) {
      text += std::string(name_of(finding.state)) + " " + std::to_string(finding.from) + "-" +
              std::to_string(finding.through) + ";";
    }
    return text;
  }
};

TEST_F(ProofParts, ARecordTakes47BytesAndReadsAsItWasWritten) {
  const Record record = entry(kHighestId, "content", 4'000'000'000);
  std::array<Byte, 47> bytes{};
  write(record, bytes);
  EXPECT_EQ(read(bytes), record);
  const GoneRange range{5, kHighestId, 77, Reason::kKeep};
  write(record_of(range), bytes);
  const GoneRange back = range_of(*read(bytes));
  EXPECT_EQ(back.from, 5);
  EXPECT_EQ(back.through, kHighestId);
  EXPECT_EQ(back.declared, 77U);
  EXPECT_EQ(back.reason, Reason::kKeep);
  bytes[0] = 0;
  EXPECT_FALSE(read(bytes).has_value());
  bytes[0] = 99;
  EXPECT_FALSE(read(bytes).has_value());
}

TEST_F(ProofParts, ALinkCoversAllButTheSalt) {
  std::array<Byte, kRecordSize> bytes{};
  write(entry(7, "content"), bytes);
  const Hash link = link_of({}, linked_part(bytes));
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    bytes.at(i) ^= 1U;
    EXPECT_EQ(link_of({}, linked_part(bytes)) == link, i >= kLinkedSize) << i;
    bytes.at(i) ^= 1U;
  }
}

TEST_F(ProofParts, ACommitmentDependsOnItsSaltAndContent) {
  const Record record = entry(1, "content");
  EXPECT_NE(commitment_of({}, "content"), record.commitment);
  EXPECT_NE(commitment_of(record.salt, "content "), record.commitment);
  EXPECT_EQ(commitment_of(record.salt, "content"), record.commitment);
}

Head some_head() {
  Head head{.sequence = 7,
            .chain = {1, 2, 3},
            .log = "event",
            .first = 10,
            .base = {4},
            .records = 200,
            .hash = {5},
            .last_id = 190,
            .time = 1'795'000'000,
            .key = {},
            .signature = {}};
  return head;
}

TEST_F(ProofParts, AHeadReadsAsItWasWrittenAndEachOfItsBytesCounts) {
  Head head = some_head();
  sign(head, some_key(1));
  EXPECT_TRUE(is_signed(head));
  HeadBytes bytes = bytes_of(head);
  EXPECT_EQ(head_in(bytes), head);
  constexpr std::size_t kUsed = 248;
  for (std::size_t i = 0; i < kUsed; ++i) {
    bytes.at(i) ^= 0x10U;
    EXPECT_FALSE(head_in(bytes).has_value()) << i;
    bytes.at(i) ^= 0x10U;
  }
}

TEST_F(ProofParts, AHeadIsOneLineOfJson) {
  Head head = some_head();
  sign(head, some_key(1));
  const std::string line = json_of(head);
  EXPECT_EQ(line.find('\n'), std::string::npos);
  EXPECT_EQ(heads_in(line + "\n\n" + line), std::vector<Head>({head, head}));
  EXPECT_THROW(static_cast<void>(heads_in(line + "\n{}\n")), std::runtime_error);
  EXPECT_THROW(static_cast<void>(heads_in("nonsense")), std::runtime_error);
}

TEST_F(ProofParts, ASignatureIsOfThatHeadByThatKey) {
  Head head = some_head();
  sign(head, some_key(1));
  Head other = head;
  other.records = 201;
  EXPECT_FALSE(is_signed(other));
  other = head;
  other.key = some_key(2).public_key();
  EXPECT_FALSE(is_signed(other));
}

TEST_F(ProofParts, AKeyIsTrustedWhenATrustedOneVouchesForIt) {
  const SigningKey first = some_key(1);
  const SigningKey second = some_key(2);
  const SigningKey third = some_key(3);
  const std::string file = text_of({first.public_key(), {}}) +
                           text_of({second.public_key(), endorse(first, second.public_key())}) +
                           text_of({third.public_key(), endorse(second, third.public_key())});
  const std::vector<PublicKeyLine> all = public_keys_in(file);
  EXPECT_EQ(trusted_keys({{first.public_key(), {}}}, all),
            std::vector<PublicKey>({first.public_key(), second.public_key(), third.public_key()}));
  const SigningKey stranger = some_key(9);
  EXPECT_EQ(trusted_keys({{stranger.public_key(), {}}}, all), std::vector<PublicKey>({stranger.public_key()}));
  EXPECT_THROW(static_cast<void>(public_keys_in("annal-seal-key 1234\n")), std::runtime_error);
}

TEST_F(ProofParts, NothingIsFoundInALogAsItWasSealed) {
  const Report report = compare({entry(1, "a"), entry(3, "c")}, {{1, "a"}, {3, "c"}, {4, "new"}});
  EXPECT_EQ(summary(report), "not-sealed 4-4;");
  EXPECT_TRUE(report.clean());
  EXPECT_EQ(report.sealed, 2U);
  EXPECT_EQ(report.unsealed, 1U);
}

TEST_F(ProofParts, EachKindOfChangeHasItsName) {
  const std::vector<Record> chain{entry(1, "a"), entry(2, "b"), entry(4, "d"), entry(5, "e"), entry(6, "f")};
  EXPECT_EQ(summary(compare(chain, {{1, "a"}, {2, "x"}, {4, "d"}, {5, "e"}, {6, "f"}})), "changed 2-2;");
  EXPECT_EQ(summary(compare(chain, {{1, "a"}, {6, "f"}})), "deleted 2-5;");
  EXPECT_EQ(summary(compare(chain, {{1, "a"}, {2, "b"}, {3, "x"}, {4, "d"}, {5, "e"}, {6, "f"}})), "inserted 3-3;");
  EXPECT_EQ(summary(compare(chain, {{1, "a"}, {2, "e"}, {4, "d"}, {5, "b"}, {6, "f"}})), "moved 2-2;moved 5-5;");
  EXPECT_EQ(summary(compare(chain, {{1, "a"}, {2, "b"}, {3, "d"}, {5, "e"}, {6, "f"}})), "moved 3-3;");
  EXPECT_EQ(summary(compare(chain, {{1, "a"}, {2, "b"}})), "truncated 4-6;");
  EXPECT_EQ(summary(compare(chain, {{1, "v"}, {2, "w"}, {4, "x"}, {5, "y"}, {6, "z"}})), "chain-of-another-log 0-0;");
  EXPECT_EQ(summary(compare(chain, {{-3, "x"}, {1, "a"}, {2, "b"}, {4, "d"}, {5, "e"}, {6, "f"}})), "inserted -3--3;");
}

TEST_F(ProofParts, TheOldestMayBeGoneFromAFullLogOnly) {
  const std::vector<Record> chain{entry(1, "a", 50), entry(2, "b", 10), entry(3, "c", 20), entry(4, "d", 60)};
  // By their times: 2 and 3.
  EXPECT_EQ(summary(compare(chain, {{1, "a"}, {4, "d"}}, true)), "expired 2-3;");
  EXPECT_EQ(summary(compare(chain, {{1, "a"}, {4, "d"}})), "undecided 2-3;");
  // Though it is full, 1 is not among the oldest.
  EXPECT_EQ(summary(compare(chain, {{2, "b"}, {3, "c"}, {4, "d"}}, true)), "deleted 1-1;");
}

TEST_F(ProofParts, WhatWasDeclaredGoneIsNotMissedAndMayNotReturn) {
  const std::vector<Record> chain{entry(1, "a"), entry(2, "b"), entry(3, "c"), record_of({1, 2, 9, Reason::kTrim})};
  EXPECT_EQ(summary(compare(chain, {{3, "c"}})), "");
  EXPECT_EQ(summary(compare(chain, {{1, "a"}, {2, "b"}, {3, "c"}})), "returned 1-2;");
}

TEST_F(ProofParts, ARedactedEntryIsComparedWithItsTombstone) {
  Record erased = entry(2, "personal");
  const Record before = erased;
  erased.salt = {};
  Record tombstone = entry(2, "marker");
  tombstone.kind = Kind::kRedaction;
  const Report report = compare({entry(1, "a"), erased, tombstone}, {{1, "a"}, {2, "marker"}});
  EXPECT_EQ(summary(report), "redacted 0-0;");
  EXPECT_EQ(report.redacted, 1U);
  EXPECT_EQ(summary(compare({entry(1, "a"), erased, tombstone}, {{1, "a"}, {2, "other"}})), "changed 2-2;");
  EXPECT_EQ(summary(compare({entry(1, "a"), erased}, {{1, "a"}, {2, "personal"}})), "changed 2-2;");
  // Cut off before the entry was changed, and before the salt was erased.
  EXPECT_EQ(summary(compare({entry(1, "a"), before, tombstone}, {{1, "a"}, {2, "personal"}})), "unfinished 2-2;");
  EXPECT_EQ(summary(compare({entry(1, "a"), before, tombstone}, {{1, "a"}, {2, "marker"}})),
            "unfinished 2-2;redacted 0-0;");
}

TEST_F(ProofParts, ContentsThatDifferHaveDifferentBytes) {
  const auto bytes = [](auto&&... add) {
    std::string all;
    Content content(all);
    (add(content), ...);
    return all;
  };
  const auto text = [](std::string_view value) { return [value](Content& content) { content.text(value); }; };
  EXPECT_NE(bytes(text("ab"), text("c")), bytes(text("a"), text("bc")));
  EXPECT_NE(bytes(text("")), bytes([](Content& content) { content.null(); }));
  EXPECT_NE(bytes(text("1")), bytes([](Content& content) { content.integer(1); }));
  EXPECT_NE(bytes(text("1")), bytes([](Content& content) { content.blob("1"); }));
}

TEST_F(ProofParts, TimesSortAsTheLogsTextsDo) {
  EXPECT_EQ(time_key("1970-01-02", "00:00:01"), 86401U);
  EXPECT_EQ(time_key("2026-11-22", "10:00:00"), 1'795'341'600U);
  EXPECT_LT(time_key("2026-02-28", "23:59:59"), time_key("2026-03-01", "00:00:00"));
  EXPECT_EQ(time_key("", ""), 0U);
  EXPECT_EQ(time_key("---", "10:00:00"), 0U);
  EXPECT_EQ(time_key("no date", "10:00:00"), std::numeric_limits<std::uint32_t>::max());
  EXPECT_EQ(time_key("2026/99/99", "10:00:00"), time_key("2026-01-01", "00:00:00"));
  EXPECT_EQ(time_key(std::int64_t{-5}), 0U);
}

}  // namespace

}  // namespace annalctl::proof
