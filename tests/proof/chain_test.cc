// Chains and their logs: power cuts, limits, migrations, logs that begin again, keys.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "Corix_annal.h"
#include "tests/proof/sealed_log.h"
#include "tools/annalctl/base/sqlite.h"

namespace annalctl::proof {

namespace {

namespace fs = std::filesystem;

class Chain : public SealedLogTest {
 protected:
  void SetUp() override {
    SealedLogTest::SetUp();
    log_.emplace(kLogKinds[0], keys(), 30);
  }
  SealedLog& log() { return *log_; }

 private:
  std::optional<SealedLog> log_;
};

TEST_F(Chain, TakesLessThan48BytesAnEntry) {
  SealedLog large(kLogKinds[3], keys(), 1500);
  EXPECT_LE(fs::file_size(large.chain()), 48 * large.ids().size());
}

TEST_F(Chain, HasNoTextOfTheLog) {
  const std::string bytes = read_file(log().chain());
  for (const char* text : {"entry", "carla", "192.0.2.7", "2026"}) {
    EXPECT_EQ(bytes.find(text), std::string::npos) << text;
  }
}

TEST_F(Chain, SurvivesAPowerCutAtEachByteOfASealing) {
  const std::string before = read_file(log().chain());
  const std::vector<Head> anchors = log().anchors;
  log().add({}, "one more");
  log().add({}, "and one more");
  log().seal();
  const std::string after = read_file(log().chain());
  ASSERT_EQ(after.size(), before.size() + 2 * kRecordSize);
  std::vector<std::string> cut_off;
  // While the records are written, as far as they got.
  for (std::size_t got = 0; got <= 2 * kRecordSize; ++got) {
    cut_off.push_back(before + after.substr(before.size(), got));
  }
  // While the head is, in the place of the older one.
  const std::string with_records = before + after.substr(before.size());
  for (std::size_t place = 0; place < 2; ++place) {
    for (std::size_t got = 0; got <= kHeadSize; ++got) {
      std::string bytes = with_records;
      bytes.replace(place * kHeadSize, got, after, place * kHeadSize, got);
      cut_off.push_back(bytes);
    }
  }
  for (std::size_t i = 0; i < cut_off.size(); ++i) {
    SCOPED_TRACE(i);
    write_file(log().chain(), cut_off[i]);
    log().anchors = anchors;
    ASSERT_TRUE(log().verify().clean());
    if (i % 16 == 0) {
      log().seal();
      const Report report = log().verify();
      ASSERT_TRUE(report.clean());
      ASSERT_EQ(report.unsealed, 0U);
    }
  }
}

TEST_F(Chain, TellsAnOlderCopyOfTheLogAlone) {
  log().run("UPDATE sqlite_sequence SET seq = seq");
  const std::string older = read_file(log().log().path);
  for (int i = 0; i < 10; ++i) {
    log().add({}, "later");
  }
  log().seal();
  write_file(log().log().path, older);
  const Report report = log().verify();
  EXPECT_TRUE(has(report, State::kTruncated));
  EXPECT_THROW(log().seal(), ChainFailure);
}

TEST_F(Chain, DeclaresWhatTheLimitHasDeleted) {
  log().set_limit(30);
  for (int i = 0; i < 20; ++i) {
    log().add({}, "later");
  }
  Report report = log().verify();
  EXPECT_TRUE(report.clean());
  EXPECT_TRUE(has(report, State::kExpired));
  const Sealed sealed = log().seal();
  EXPECT_EQ(sealed.declared, 17U);
  report = log().verify();
  EXPECT_TRUE(report.clean());
  EXPECT_FALSE(has(report, State::kExpired));
  EXPECT_TRUE(has(report, State::kGone));
  EXPECT_EQ(report.gone, 17U);
  // Nobody can try what they were.
  const std::string bytes = read_file(log().chain());
  EXPECT_EQ(bytes.substr(2 * kHeadSize + kLinkedSize, sizeof(Salt)), std::string(sizeof(Salt), '\0'));
}

TEST_F(Chain, DoesNotTakeAnyDeletionForThatOfTheLimit) {
  log().run("DELETE FROM ANNAL_EVENT WHERE event_id <= 3");
  Sealed sealed = log().seal();
  EXPECT_EQ(sealed.declared, 0U);
  EXPECT_EQ(sealed.remarks.size(), 1U);
  EXPECT_TRUE(has(log().verify(), State::kUndecided));
  // Until somebody says that they may be gone.
  sealed = log().seal({.accept_missing = true});
  EXPECT_EQ(sealed.declared, 3U);
  EXPECT_TRUE(log().verify().clean());
}

TEST_F(Chain, IsShortenedByWhatIsGone) {
  SealedLog large(kLogKinds[0], keys(), 0);
  large.run(
      "WITH n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 6000) INSERT INTO ANNAL_EVENT (event_type, "
      "event_date, event_time, event_desc) SELECT 0, '2026-11-22', '10:00:00', i FROM n");
  const std::vector<Head> too_old{large.seal().head};
  large.set_limit(100);
  large.run("DELETE FROM ANNAL_EVENT WHERE event_id <= 5950");
  large.add({}, "makes it full");
  for (int i = 0; i < 60; ++i) {
    large.add({}, "later");
  }
  large.seal();
  EXPECT_LT(fs::file_size(large.chain()), 300 * kRecordSize);
  Report report = large.verify();
  EXPECT_TRUE(report.clean());
  large.run("UPDATE ANNAL_EVENT SET event_desc = 'x' WHERE event_id = 6001");
  report = large.verify();
  EXPECT_TRUE(has(report, State::kChanged));
}

TEST_F(Chain, OfALogThatBeginsAgainIsSetAside) {
  log().run("DELETE FROM ANNAL_EVENT; DELETE FROM sqlite_sequence");
  log().add({}, "the first");
  Report report = log().verify();
  EXPECT_TRUE(has(report, State::kMadeAgain)) << report.findings.size();
  EXPECT_THROW(log().seal(), ChainFailure);
  log().anchors.clear();
  log().seal({.new_chain = true});
  report = log().verify();
  EXPECT_TRUE(report.clean());
  EXPECT_TRUE(has(report, State::kContinued));
  EXPECT_TRUE(fs::exists(log().chain() + ".1") || fs::exists(log().chain() + ".3"));
}

TEST_F(Chain, OfAnotherLogIsRecognized) {
  SealedLog other(kLogKinds[1], keys(), 30);
  fs::copy_file(other.chain(), log().chain(), fs::copy_options::overwrite_existing);
  const Report report = log().verify();
  EXPECT_TRUE(has(report, State::kOfAnother));
  EXPECT_TRUE(has(report, State::kReplaced));  // by the anchors
  EXPECT_THROW(log().seal(), ChainFailure);
}

TEST_F(Chain, SignedByAnotherKeyIsNotTrusted) {
  const KeyRing thief = load_or_create_keys("/etc/logs/thief/seal.key");
  fs::remove(log().chain());
  static_cast<void>(proof::seal(log().log(), thief, {}, [](std::int64_t, std::uint64_t) {}));
  log().anchors.clear();
  EXPECT_TRUE(has(log().verify(), State::kUnsigned));
  EXPECT_THROW(log().seal(), ChainFailure);
}

TEST_F(Chain, GoesOnWithAKeyThatTheOldOneVouchesFor) {
  const std::vector<PublicKeyLine> old = load_public_keys("/etc/logs/keys/seal.pub");
  const KeyRing next = replace_key("/etc/logs/keys/seal.key");
  EXPECT_FALSE(fs::exists("/etc/logs/keys/seal.key.old"));
  static_cast<void>(proof::seal(log().log(), next, {}, [](std::int64_t, std::uint64_t) {}));
  const std::vector<PublicKeyLine> now = load_public_keys("/etc/logs/keys/seal.pub");
  ASSERT_EQ(now.size(), 2U);
  const auto verified = verify(log().log(), {trusted_keys(old, now), {}}, [](std::int64_t, std::uint64_t) {});
  EXPECT_TRUE(verified->report.clean());
  const auto without = verify(log().log(), {trusted_keys(old, {}), {}}, [](std::int64_t, std::uint64_t) {});
  EXPECT_TRUE(has(without->report, State::kUnsigned));
}

TEST_F(Chain, RefusesAKeyThatOthersCanRead) {
  fs::permissions("/etc/logs/keys/seal.key", fs::perms(0640));
  EXPECT_THROW(static_cast<void>(load_keys("/etc/logs/keys/seal.key")), KeyFailure);
}

TEST_F(Chain, OutlivesAMigration) {
  constexpr char kOld[] = "/etc/logs/event.log";
  Log old = *kLogKinds[0].log;
  old.path = kOld;
  const SqliteDatabase database(kOld, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  ASSERT_TRUE(database.run(
      "CREATE TABLE ANNAL_EVENT (event_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, event_type INTEGER, "
      "event_date TEXT, event_time TEXT, event_user TEXT, event_ip TEXT, event_comp TEXT, event_desc TEXT);"
      "INSERT INTO ANNAL_EVENT VALUES (1, 0, '2026-11-22', '10:00:00', 'ann', '', '', 'old')"));
  static_cast<void>(proof::seal(old, keys(), {}, [](std::int64_t, std::uint64_t) {}));
  ASSERT_EQ(annal_event_modify_tbl(), ANNAL_OK);
  EXPECT_TRUE(verify(old, {keys().trusted, {}}, [](std::int64_t, std::uint64_t) {})->report.clean());
  ASSERT_TRUE(database.run("UPDATE ANNAL_EVENT SET event_app_name = 'added'"));
  EXPECT_TRUE(has(verify(old, {keys().trusted, {}}, [](std::int64_t, std::uint64_t) {})->report, State::kChanged));
}

TEST_F(Chain, CoversColumnsThatOnlyOtherProgramsKnow) {
  log().run("ALTER TABLE ANNAL_EVENT ADD COLUMN colour TEXT DEFAULT 'none'");
  EXPECT_TRUE(log().verify().clean());
  log().run("UPDATE ANNAL_EVENT SET colour = 'red' WHERE event_id = 3");
  EXPECT_TRUE(has(log().verify(), State::kChanged));
}

}  // namespace

}  // namespace annalctl::proof
