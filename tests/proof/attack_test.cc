// What somebody who can write the log, the chain or even use the key does to hide a change.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <utility>

#include "tests/proof/sealed_log.h"

namespace annalctl::proof {

namespace {

namespace fs = std::filesystem;

const Watch kNoWatch = [](std::int64_t, std::uint64_t) {};

class Attack : public SealedLogTest {
 protected:
  void SetUp() override {
    SealedLogTest::SetUp();
    log_.emplace(kLogKinds[0], keys(), 30);
  }
  SealedLog& log() { return *log_; }

  [[nodiscard]] ChainFile own_chain() { return std::move(*ChainFile::open(log().chain(), Access::kWrite)); }
  // Another head, by the first key, over the same records.
  Head sign_again() {
    ChainFile chain = own_chain();
    chain.commit(keys().key, chain.head().last_id, 0);
    return chain.head();
  }

 private:
  std::optional<SealedLog> log_;
};

// --- the log's table ---

TEST_F(Attack, AColumnThatHidesTheIdsIsFound) {
  log().run(
      "ALTER TABLE ANNAL_EVENT ADD COLUMN RowId INT GENERATED ALWAYS AS "
      "(CASE event_id WHEN 1 THEN 2 WHEN 2 THEN 1 ELSE event_id END) VIRTUAL; "
      "UPDATE ANNAL_EVENT SET event_id = 100 WHERE event_id = 1; "
      "UPDATE ANNAL_EVENT SET event_id = 1 WHERE event_id = 2; "
      "UPDATE ANNAL_EVENT SET event_id = 2 WHERE event_id = 100");
  EXPECT_TRUE(has(log().verify(), State::kChanged));
  EXPECT_THROW(log().seal(), ChainFailure);
}

TEST_F(Attack, IdsThatAreNotThoseOfTheRowsAreFound) {
  log().run(
      "PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = replace(sql, 'INTEGER PRIMARY KEY AUTOINCREMENT "
      "UNIQUE', 'INTEGER') WHERE name = 'ANNAL_EVENT' AND type = 'table'; DELETE FROM sqlite_master WHERE name LIKE "
      "'sqlite_autoindex%'");
  // Each has a null now, and gets the id that it had, but for two.
  log().run("UPDATE ANNAL_EVENT SET event_id = CASE rowid WHEN 1 THEN 2 WHEN 2 THEN 1 ELSE rowid END");
  const Report report = log().verify();
  EXPECT_TRUE(has(report, State::kChanged, 1));
  EXPECT_TRUE(has(report, State::kChanged, 2));
  EXPECT_FALSE(has(report, State::kChanged, 3));
}

TEST_F(Attack, AKnownColumnThatIsComputedIsFound) {
  log().run(
      "ALTER TABLE ANNAL_EVENT DROP COLUMN event_client_agent; ALTER TABLE ANNAL_EVENT ADD COLUMN event_client_agent "
      "TEXT GENERATED ALWAYS AS ('made up')");
  EXPECT_FALSE(log().verify().clean());
}

TEST_F(Attack, IdsThatNoLogGivesAreNamed) {
  log().add(-5, "below");
  log().add(0, "zero");
  const Report report = log().verify();
  EXPECT_TRUE(has(report, State::kInserted, -5));
  EXPECT_TRUE(std::any_of(report.findings.begin(), report.findings.end(),
                          [](const Finding& finding) { return finding.text == "no log gives the id 0 by itself"; }));
}

// --- the chain ---

TEST_F(Attack, ALostHeadIsTold) {
  const std::uint64_t newest = own_chain().head().sequence % 2;
  const int file = open(log().chain().c_str(), O_RDWR | O_CLOEXEC);
  EXPECT_EQ(pwrite(file, "x", 1, static_cast<off_t>(newest * kHeadSize + 20)), 1);
  close(file);
  EXPECT_TRUE(has(log().verify(), State::kRolledBack));
  log().anchors.clear();
  Report report = log().verify();
  EXPECT_TRUE(has(report, State::kHeadLost));
  EXPECT_TRUE(has(report, State::kNotSealed));
  log().seal();
  log().add({}, "and one more");
  log().seal();
  EXPECT_FALSE(has(log().verify(), State::kHeadLost));
}

TEST_F(Attack, ALinkToAChainIsADamagedOne) {
  fs::rename(log().chain(), log().chain() + ".elsewhere");
  fs::create_symlink(log().chain() + ".elsewhere", log().chain());
  EXPECT_TRUE(has(log().verify(), State::kCut));
  EXPECT_THROW(log().seal(), ChainFailure);
}

TEST_F(Attack, EachByteOfTheChainCounts) {
  SealedLog small(kLogKinds[0], keys(), 4);
  const std::string whole = read_file(small.chain());
  ASSERT_TRUE(small.verify().clean());
  const std::size_t newest = small.anchors.back().sequence % 2;
  constexpr std::size_t kHeadEnds = 248;  // what is behind has no meaning
  for (std::size_t i = 0; i < whole.size(); ++i) {
    std::string changed = whole;
    changed[i] = static_cast<char>(changed[i] ^ 0x10);
    write_file(small.chain(), changed);
    const bool is_head = i < 2 * kHeadSize;
    const Report report = small.verify();
    if (is_head && i % kHeadSize >= kHeadEnds) {
      EXPECT_TRUE(report.clean()) << i;
    } else if (is_head && i / kHeadSize != newest) {
      EXPECT_TRUE(has(report, State::kHeadLost)) << i;
    } else {
      EXPECT_FALSE(report.clean()) << i;
    }
  }
  for (std::size_t length = 0; length < whole.size(); ++length) {
    write_file(small.chain(), whole.substr(0, length));
    EXPECT_FALSE(small.verify().clean()) << length;
  }
}

// --- the key ---

// A chain of the same name that says that all anchored records were dropped, and has the entries as they are now.
TEST_F(Attack, ARewrittenChainThatHasDroppedTheAnchorsRecordsIsFound) {
  const Head anchored = own_chain().head();
  log().run("UPDATE ANNAL_EVENT SET event_desc = 'something else' WHERE event_id = 3");
  fs::remove(log().chain());
  Head forged = anchored;
  ++forged.sequence;
  forged.first = forged.records = anchored.records + 1;
  forged.base = forged.hash;
  {
    ChainFile chain = ChainFile::create(log().chain(), log().log().path, forged, keys().key);
    chain.commit(keys().key, 0, 0);
  }
  log().seal();
  const Report report = log().verify();
  EXPECT_TRUE(has(report, State::kTooOld));
  EXPECT_TRUE(has(report, State::kRewritten));
}

TEST_F(Attack, AHeadThatClaimsToCoverLessDoesNotHideAnInsertion) {
  const std::int64_t free = log().free_ids().front();
  log().add(free, "planted");
  own_chain().commit(keys().key, free - 1, 0);
  EXPECT_TRUE(has(log().verify(), State::kInserted, free));
}

TEST_F(Attack, AKeyThatWasReplacedSignsNothingMoreOfAnAnchoredChain) {
  const KeyRing next = replace_key("/etc/logs/keys/seal.key");
  log().anchors = {proof::seal(log().log(), next, {}, kNoWatch).head};
  const VerifyOptions options{next.trusted, log().anchors};
  EXPECT_TRUE(verify(log().log(), options, kNoWatch)->report.clean());
  log().add({}, "made up by who has the old key");
  sign_again();
  EXPECT_TRUE(has(verify(log().log(), options, kNoWatch)->report, State::kUnsigned));
}

TEST_F(Attack, AnOlderChainWithAsManyRecordsIsFound) {
  log().anchors.push_back(sign_again());
  EXPECT_TRUE(log().verify().clean());
  log().restore();
  EXPECT_TRUE(has(log().verify(), State::kRolledBack));
}

// --- not attacks ---

TEST_F(Attack, AFullLogStaysFullWhileOthersWriteToIt) {
  constexpr int kRows = 2500;
  SealedLog full(kLogKinds[0], keys(), 0);
  full.set_limit(kRows);
  const auto add = [&full](int rows) {
    full.run("WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(rows) +
             ") INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_desc) SELECT 0, '2026-11-22', "
             "'10:00:00', i FROM n");
  };
  add(kRows);
  full.seal();
  add(100);
  bool written = false;
  const auto verified = verify(full.log(), {keys().trusted, {}}, [&](std::int64_t, std::uint64_t) {
    if (!std::exchange(written, true)) {
      add(2300);
    }
  });
  EXPECT_TRUE(written);
  EXPECT_TRUE(verified->report.clean());
  EXPECT_TRUE(has(verified->report, State::kExpired, 50));
}

TEST_F(Attack, AnEntryWithATextForADateDoesNotMakeTheLimitSuspicious) {
  constexpr int kRows = 20;
  SealedLog full(kLogKinds[0], keys(), 0);
  full.set_limit(kRows);
  full.run("INSERT INTO ANNAL_EVENT (event_date, event_time, event_desc) VALUES ('no date', 'no time', 'x')");
  for (int i = 1; i < kRows; ++i) {
    full.add({}, "entry");
  }
  full.seal();
  full.add({}, "one more");
  EXPECT_TRUE(has(full.verify(), State::kExpired, 2));
  EXPECT_TRUE(full.verify().clean());
}

TEST_F(Attack, AReplacementOfTheKeyThatWasCutOffDoesNotPreventTheNext) {
  const fs::path key = "/etc/logs/keys/seal.key";
  // Cut off before the new key was put in place: another name of the same file.
  fs::create_hard_link(key, "/etc/logs/keys/seal.key.old");
  std::ofstream("/etc/logs/keys/seal.key.new") << "half of a k";
  const KeyRing second = replace_key(key);
  // And after: the key before, not overwritten yet.
  fs::copy_file(key, "/etc/logs/keys/seal.key.old");
  const KeyRing third = replace_key(key);
  EXPECT_FALSE(fs::exists("/etc/logs/keys/seal.key.old"));
  EXPECT_FALSE(fs::exists("/etc/logs/keys/seal.key.new"));
  const VerifyOptions options{
      trusted_keys({{keys().key.public_key(), {}}}, load_public_keys("/etc/logs/keys/seal.pub")), {}};
  static_cast<void>(proof::seal(log().log(), third, {}, kNoWatch));
  EXPECT_TRUE(verify(log().log(), options, kNoWatch)->report.clean());
}

}  // namespace

}  // namespace annalctl::proof
