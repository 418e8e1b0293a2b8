// "annalctl redact": no byte is left, and the log still verifies.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <thread>

#include "tests/support/lock_holder.h"
#include "tests/tools/annalctl.h"

namespace {

namespace fs = std::filesystem;
using annal::test::sql;
using annal::test::value;
using nlohmann::json;

constexpr char kLog[] = "/etc/logs/event.log";

class Redact : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    setenv("ANNAL_SEAL_KEY", "/etc/logs/keys/seal.key", 1);
    ASSERT_EQ(annalctl({"event", "create", "--limit", "5000"}).status, 0);
    add(1, 300);
  }
  void TearDown() override {
    unsetenv("ANNAL_SEAL_KEY");
    AnnalctlTest::TearDown();
  }
  // Each third is Zebedee's; some texts take several pages.
  static void add(int first, int last) {
    sql(kLog,
        "WITH n(i) AS (SELECT " + std::to_string(first) + " UNION ALL SELECT i + 1 FROM n WHERE i < " +
            std::to_string(last) +
            ") INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_ip, event_comp, "
            "event_desc, event_app_name) SELECT i % 3, '2026-11-22', '10:00:00', CASE i % 3 WHEN 0 THEN 'zebedee' "
            "ELSE 'ann' END, CASE i % 3 WHEN 0 THEN '198.51.100.77' ELSE '192.0.2.1' END, '---', "
            "CASE i % 3 WHEN 0 THEN replace(printf('%0*d', 1 + i * 40, i), '0', 'secretword ') ELSE 'plain ' || i END, "
            "'Storage' FROM n");
  }
  static std::string bytes_in(const fs::path& file) {
    std::ifstream input(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(input), {}};
  }
  // In whatever is in the logs' folder.
  static std::vector<std::string> files_with(const std::string& text) {
    std::vector<std::string> files;
    for (const auto& entry : fs::recursive_directory_iterator("/etc/logs")) {
      if (entry.is_regular_file() && bytes_in(entry.path()).find(text) != std::string::npos) {
        files.push_back(entry.path());
      }
    }
    return files;
  }
};

TEST_F(Redact, LeavesNoByteAndTheLogVerifies) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  ASSERT_FALSE(files_with("zebedee").empty());
  const Finished redacted = annalctl({"redact", "event", "--exact-user", "zebedee"});
  ASSERT_EQ(redacted.status, 0) << redacted.err;
  EXPECT_EQ(redacted.out, "redacted 100 events\n");
  EXPECT_EQ(redacted.err, "");
  for (const char* text : {"zebedee", "198.51.100.77", "secretword"}) {
    EXPECT_EQ(files_with(text), std::vector<std::string>()) << text;
  }
  EXPECT_FALSE(fs::exists("/etc/logs/event.log-journal"));
  const Finished verified = annalctl({"verify", "event", "--json"});
  EXPECT_EQ(verified.status, 0) << verified.out;
  const json last = json::parse(lines_of(verified.out).back());
  EXPECT_EQ(last["sealed"], 300);
  EXPECT_EQ(last["redacted"], 100);
  EXPECT_EQ(value(kLog,
                  "SELECT event_user || event_ip || event_comp || event_desc || event_app_name FROM ANNAL_EVENT "
                  "WHERE event_id = 3"),
            "[redacted][redacted]---[redacted]Storage");
  EXPECT_EQ(value(kLog, "PRAGMA integrity_check"), "ok");
  EXPECT_EQ(value(kLog, "PRAGMA journal_mode"), "delete");
}

TEST_F(Redact, LeavesNothingInPlacesThatWereFreedEarlier) {
  // By a program whose SQLite does not overwrite what it frees.
  sql(kLog,
      "PRAGMA secure_delete = OFF; UPDATE ANNAL_EVENT SET event_desc = 'moved ' || event_desc WHERE event_id > 50");
  sql(kLog, "PRAGMA secure_delete = OFF; DELETE FROM ANNAL_EVENT WHERE event_id > 150");
  ASSERT_FALSE(files_with("secretword").empty());
  ASSERT_EQ(annalctl({"event", "redact", "--user", "zebedee"}).status, 0);
  EXPECT_EQ(files_with("secretword"), std::vector<std::string>());
}

TEST_F(Redact, TombstonesAreListedForWhoeverFollowsThem) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  ASSERT_EQ(annalctl({"redact", "event", "--id", "6"}).status, 0);
  ASSERT_EQ(annalctl({"redact", "event", "--id", "9"}).status, 0);
  const std::vector<std::string> all = lines_of(annalctl({"event", "redact", "--list", "--json"}).out);
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(json::parse(all[0])["id"], 6);
  EXPECT_EQ(json::parse(all[0])["position"], 300);
  EXPECT_EQ(json::parse(all[1])["id"], 9);
  EXPECT_EQ(lines_of(annalctl({"event", "redact", "--list", "--from-position", "301", "--json"}).out),
            std::vector<std::string>({all[1]}));
  for (const char* form : {"table", "full"}) {
    const Finished for_people = annalctl({"event", "redact", "--list", "-o", form});
    EXPECT_EQ(for_people.out.rfind("event 6: redacted 20", 0), 0U) << for_people.out;
  }
}

TEST_F(Redact, EntriesThatWereNotSealedYetGetATombstoneToo) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  add(301, 303);
  const Finished redacted = annalctl({"redact", "event", "--id", "303"});
  EXPECT_EQ(redacted.status, 0);
  EXPECT_EQ(redacted.err, "");
  EXPECT_EQ(json::parse(annalctl({"event", "redact", "--list", "--json"}).out)["id"], 303);
  EXPECT_EQ(annalctl({"verify", "event"}).status, 0);
}

TEST_F(Redact, ATombstoneAllowsNoOtherChange) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  ASSERT_EQ(annalctl({"redact", "event", "--id", "6"}).status, 0);
  sql(kLog, "UPDATE ANNAL_EVENT SET event_app_name = 'other' WHERE event_id = 6");
  EXPECT_EQ(annalctl({"verify", "event"}).status, 1);
}

TEST_F(Redact, DoesNotSealWhatWasChangedBefore) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  sql(kLog, "UPDATE ANNAL_EVENT SET event_app_name = 'other' WHERE event_id = 6");
  const Finished redacted = annalctl({"redact", "event", "--id", "6"});
  EXPECT_EQ(redacted.status, 0);
  EXPECT_NE(redacted.err.find("1 of them had been changed since they were sealed"), std::string::npos) << redacted.err;
  EXPECT_EQ(value(kLog, "SELECT event_user FROM ANNAL_EVENT WHERE event_id = 6"), "[redacted]");
  Finished verified = annalctl({"verify", "event"});
  EXPECT_EQ(verified.status, 1);
  EXPECT_NE(verified.out.find("changed: event 6: it was not what was sealed when it was redacted"), std::string::npos)
      << verified.out;
  // Another redaction does not either.
  sql(kLog, "UPDATE ANNAL_EVENT SET event_user = 'zebedee' WHERE event_id = 6");
  ASSERT_EQ(annalctl({"redact", "event", "--id", "6"}).status, 0);
  EXPECT_EQ(annalctl({"verify", "event"}).status, 1);
  EXPECT_EQ(json::parse(lines_of(annalctl({"event", "redact", "--list", "--json"}).out).at(1))["id"], 6);
}

TEST_F(Redact, ErasesTheSaltsInChainsThatWereSetAside) {
  constexpr std::size_t kHeads = 512;
  constexpr std::size_t kRecord = 47;
  constexpr std::size_t kSalt = 12;
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  ASSERT_EQ(annalctl({"seal", "event", "--new-chain"}).status, 0);
  ASSERT_EQ(annalctl({"redact", "event", "--id", "6"}).status, 0);
  const std::string aside = bytes_in("/etc/logs/event.log.chain.1");
  const auto salt_of = [&aside](std::size_t id) { return aside.substr(kHeads + id * kRecord - kSalt, kSalt); };
  EXPECT_EQ(salt_of(6), std::string(kSalt, '\0'));
  EXPECT_NE(salt_of(5), std::string(kSalt, '\0'));
  // What is gone cannot be guessed there either.
  ASSERT_EQ(annalctl({"event", "delete", "--id", "5"}).err, "");
  EXPECT_EQ(bytes_in("/etc/logs/event.log.chain.1").substr(kHeads + 5 * kRecord - kSalt, kSalt),
            std::string(kSalt, '\0'));
}

TEST_F(Redact, NamesADamagedChainThatWasSetAside) {
  std::ofstream("/etc/logs/event.log.chain.1") << "damaged";
  const Finished redacted = annalctl({"redact", "event", "--id", "6"});
  EXPECT_EQ(redacted.status, 0);
  EXPECT_NE(redacted.err.find("/etc/logs/event.log.chain.1 is damaged"), std::string::npos) << redacted.err;
}

// A run that was killed between its change and the end has left these.
TEST_F(Redact, ClearsWhatAKilledRunHasLeftAlthoughNothingMatches) {
  ASSERT_EQ(annalctl({"redact", "event", "--exact-user", "zebedee"}).status, 0);
  sql(kLog,
      "PRAGMA secure_delete = OFF; INSERT INTO ANNAL_EVENT (event_desc) VALUES ('secretword'); DELETE FROM ANNAL_EVENT "
      "WHERE event_desc = 'secretword'");
  std::ofstream("/etc/logs/event.log-journal") << std::string(512, '\0') << "secretword";
  ASSERT_EQ(files_with("secretword").size(), 2U);
  EXPECT_EQ(annalctl({"redact", "event", "--exact-user", "zebedee"}).out, "redacted 0 events\n");
  EXPECT_EQ(files_with("secretword"), std::vector<std::string>());
}

// The reader keeps the old pages in use, so this takes as long as redact waits for a lock.
TEST_F(Redact, SaysSoIfAReaderKeepsWhatWasRedactedInAWriteAheadLog) {
  sql(kLog, "PRAGMA journal_mode = WAL");
  sqlite3* reader = nullptr;
  ASSERT_EQ(sqlite3_open(kLog, &reader), SQLITE_OK);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> closed(reader, sqlite3_close);
  ASSERT_EQ(sqlite3_exec(reader, "BEGIN; SELECT count(*) FROM ANNAL_EVENT", nullptr, nullptr, nullptr), SQLITE_OK);
  const Finished refused = annalctl({"redact", "event", "--exact-user", "zebedee"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("keeps what was redacted in its write-ahead log (redact again when it is done)"),
            std::string::npos)
      << refused.err;
  EXPECT_FALSE(files_with("secretword").empty());
  ASSERT_EQ(sqlite3_exec(reader, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
  const Finished again = annalctl({"redact", "event", "--exact-user", "zebedee"});
  EXPECT_EQ(again.status, 0) << again.err;
  EXPECT_EQ(again.out, "redacted 0 events\n");
  EXPECT_EQ(files_with("secretword"), std::vector<std::string>());
}

TEST_F(Redact, WithoutItSuchAChangeIsFound) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  sql(kLog, "UPDATE ANNAL_EVENT SET event_user = '[redacted]' WHERE event_id = 6");
  EXPECT_EQ(annalctl({"verify", "event"}).status, 1);
}

TEST_F(Redact, DryRunOnlyCounts) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  const std::string before = bytes_in(kLog);
  const std::string chain = bytes_in("/etc/logs/event.log.chain");
  EXPECT_EQ(annalctl({"redact", "event", "--exact-user", "zebedee", "--dry-run"}).out, "would redact 100 events\n");
  EXPECT_EQ(bytes_in(kLog), before);
  EXPECT_EQ(bytes_in("/etc/logs/event.log.chain"), chain);
}

TEST_F(Redact, AsksForConditionsOrAll) {
  EXPECT_EQ(annalctl({"redact", "event"}).status, 2);
  EXPECT_EQ(annalctl({"redact", "event", "--all"}).out, "redacted 300 events\n");
  EXPECT_EQ(annalctl({"redact", "event", "--all"}).out, "redacted 0 events\n");
}

TEST_F(Redact, NeedsTheKeyOfAChain) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  fs::remove("/etc/logs/keys/seal.key");
  EXPECT_EQ(annalctl({"redact", "event", "--id", "6"}).status, 1);
  EXPECT_EQ(value(kLog, "SELECT event_user FROM ANNAL_EVENT WHERE event_id = 6"), "zebedee");
}

TEST_F(Redact, EachLogHasItsPersonalColumns) {
  ASSERT_EQ(annalctl({"conn", "create"}).status, 0);
  ASSERT_EQ(annalctl({"notice", "create"}).status, 0);
  ASSERT_EQ(annalctl({"fileop", "--db", "/etc/logs/ops.db", "create"}).status, 0);
  sql("/etc/logs/conn.log",
      "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, conn_serv) "
      "VALUES (0, '2026-11-22', '10:00:00', 'zebedee', '198.51.100.77', 'zebhost', '/zebfile', 3)");
  sql("/etc/logs/notice.log",
      "INSERT INTO ANNAL_NOTICE (severity, time, user, ip, client, desc, varContent, title) VALUES (3, 1795341600, "
      "'zebedee', '198.51.100.77', 'zebclient', 'zebtext', 'zebvar', 'zebtitle')");
  sql("/etc/logs/ops.db",
      "INSERT INTO PAVO2LOG_EVENT (event_type, event_date, event_time, event_user, event_ip, event_oldfilepath, "
      "event_filepath, event_comp, event_desc, sub_user) VALUES (0, '2026-11-22', '10:00:00', 'zebedee', "
      "'198.51.100.77', '/zebold', '/zebnew', 'zebhost', 'zebdesc', 'zebsub')");
  ASSERT_EQ(annalctl({"seal"}).status, 0);
  ASSERT_EQ(annalctl({"seal", "--db", "/etc/logs/ops.db"}).status, 0);
  ASSERT_EQ(annalctl({"redact", "event", "--all"}).status, 0);
  EXPECT_EQ(annalctl({"redact", "conn", "--all"}).out, "redacted 1 connection\n");
  EXPECT_EQ(annalctl({"redact", "notice", "--all"}).out, "redacted 1 notice\n");
  EXPECT_EQ(annalctl({"redact", "fileop", "--db", "/etc/logs/ops.db", "--all"}).out, "redacted 1 file operation\n");
  for (const char* text : {"zeb", "198.51.100.77"}) {
    EXPECT_EQ(files_with(text), std::vector<std::string>()) << text;
  }
  EXPECT_EQ(annalctl({"verify", "--db", "/etc/logs/ops.db"}).status, 0);
  EXPECT_EQ(annalctl({"verify"}).status, 0);
}

// The writer's waits are compared with the whole run, so that a slow machine slows both.
TEST_F(Redact, LetsAWriterInBetweenItsShortSteps) {
  using Clock = std::chrono::steady_clock;
  sql(kLog,
      "DROP TRIGGER annal_event_logfull; WITH n(i) AS (SELECT 301 UNION ALL SELECT i + 1 FROM n WHERE i < 40000) "
      "INSERT "
      "INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_desc) SELECT 0, '2026-11-22', "
      "'10:00:00', "
      "'zebedee', 'plain ' || i FROM n");
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  std::future<Finished> redaction = std::async(std::launch::async, [] {
    return annalctl({"redact", "event", "--all"});
  });
  const auto begun = Clock::now();
  auto last = begun;
  Clock::duration longest{};
  int written = 0;
  {
    sqlite3* opened = nullptr;
    ASSERT_EQ(sqlite3_open_v2(kLog, &opened, SQLITE_OPEN_READWRITE, nullptr), SQLITE_OK);
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> log(opened, sqlite3_close);
    constexpr char kWrite[] = "UPDATE ANNAL_EVENT SET event_msgid = 'seen' WHERE event_id = 1";
    while (redaction.wait_for(std::chrono::milliseconds(1)) != std::future_status::ready) {
      if (sqlite3_exec(log.get(), kWrite, nullptr, nullptr, nullptr) == SQLITE_OK) {
        const auto now = Clock::now();
        longest = std::max(longest, now - last);
        last = now;
        ++written;
      }
    }
  }
  longest = std::max(longest, Clock::now() - last);
  const Finished redacted = redaction.get();
  ASSERT_EQ(redacted.status, 0) << redacted.err;
  EXPECT_EQ(redacted.out, "redacted 40000 events\n");
  const auto milliseconds = [](Clock::duration duration) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
  };
  EXPECT_GT(written, 20);
  EXPECT_LT(milliseconds(longest), milliseconds(Clock::now() - begun) / 4);
  RecordProperty("longest_wait_ms", static_cast<int>(milliseconds(longest)));
}

// What annalctl itself deletes is declared.
TEST_F(Redact, DeletionsByCommandsAreNoFindings) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  ASSERT_EQ(annalctl({"event", "delete", "--id", "42"}).err, "");
  ASSERT_EQ(annalctl({"event", "delete", "--user", "zebedee", "--type", "information"}).status, 0);
  ASSERT_EQ(annalctl({"event", "trim", "100"}).status, 0);
  Finished verified = annalctl({"verify", "event"});
  EXPECT_EQ(verified.status, 0) << verified.out;
  EXPECT_NE(verified.out.find("event 42: deleted (delete)"), std::string::npos) << verified.out;
  EXPECT_NE(verified.out.find("deleted (trim)"), std::string::npos) << verified.out;
  ASSERT_EQ(annalctl({"event", "flush", "--yes"}).status, 0);
  verified = annalctl({"verify", "event"});
  EXPECT_EQ(verified.status, 0) << verified.out;
  EXPECT_NE(verified.out.find("deleted (flush)"), std::string::npos) << verified.out;
}

// A verification in between would find what is gone and not declared yet.
TEST_F(Redact, ADeletionKeepsTheChainLockedUntilItIsDeclared) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  const int chain = open("/etc/logs/event.log.chain", O_RDONLY | O_CLOEXEC);
  ASSERT_GE(chain, 0);
  std::future<Finished> deletion;
  bool locked = false;
  {
    const annal::test::LockHolder writer(kLog);
    deletion = std::async(std::launch::async, [] {
      return annalctl({"event", "delete", "--user", "zebedee", "--type", "information"});
    });
    for (int tries = 0; tries < 1000 && !locked; ++tries) {
      locked = flock(chain, LOCK_SH | LOCK_NB) != 0;
      if (!locked) {
        flock(chain, LOCK_UN);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
      }
    }
  }
  EXPECT_TRUE(locked);
  EXPECT_EQ(deletion.get().out, "deleted 100 events\n");
  EXPECT_EQ(flock(chain, LOCK_SH | LOCK_NB), 0);
  close(chain);
  EXPECT_EQ(annalctl({"verify", "event"}).status, 0);
}

TEST_F(Redact, ADeletionPastTheCommandsStaysAFindingBesideThem) {
  ASSERT_EQ(annalctl({"seal", "event"}).status, 0);
  sql(kLog, "DELETE FROM ANNAL_EVENT WHERE event_id = 200");
  ASSERT_EQ(annalctl({"event", "delete", "--id", "42"}).status, 0);
  const Finished verified = annalctl({"verify", "event"});
  EXPECT_EQ(verified.status, 1);
  EXPECT_NE(verified.out.find("deleted: event 200"), std::string::npos) << verified.out;
}

}  // namespace
