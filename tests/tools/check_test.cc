// What annalctl check reports of sound, damaged, unusual and hostile files.
#include <sqlite3.h>

#include <filesystem>
#include <functional>
#include <string>

#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"

namespace {

namespace fs = std::filesystem;
using annal::test::exists;
using annal::test::LockHolder;
using annal::test::sql;
using damage::contents_of;
using damage::names_in_folder;

constexpr const char* kLog = "/etc/logs/event.log";

class AnnalctlCheckTest : public AnnalctlEventTest {};

}  // namespace

TEST_F(AnnalctlCheckTest, SoundLogIsASuccessWithTheNumberOfItsEntries) {
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_desc) VALUES ('x'), ('y');");
  const Finished checked = annalctl({"event", "check"});
  EXPECT_EQ(checked.status, 0) << checked.out;
  EXPECT_EQ(checked.out, "/etc/logs/event.log: sound: 2 events\n");
  EXPECT_EQ(annalctl({"event", "check", "--json"}).out,
            R"({"log":"event","file":"/etc/logs/event.log","state":"sound","text":"2 events"})"
            "\n");
}

TEST_F(AnnalctlCheckTest, NamesEachCauseAndChangesNothing) {
  sql(kLog,
      "WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 100) "
      "INSERT INTO ANNAL_EVENT (event_desc) SELECT hex(zeroblob(100)) FROM n;");
  const std::string untouched = contents_of(kLog);
  const struct {
    const char* name;
    std::function<void()> spoil;
    int status;
    const char* told;
    const char* help;
  } causes[] = {
      {"missing", [] { fs::remove(kLog); }, 1, "fault: there is no log yet", "annalctl event create"},
      {"no folder", [] { fs::remove_all("/etc/logs"); }, 1, "fault: no such folder /etc/logs", "create it"},
      {"a folder", [] { fs::remove(kLog), fs::create_directory(kLog); }, 1, "unknown: it is not a file", "move it"},
      {"empty", [] { fs::resize_file(kLog, 0); }, 1, "fault: it is empty", "annalctl event create"},
      {"no database", [] { damage::overwrite(kLog, 0, "some text, and more"); }, 1, "damaged: it is not a database",
       "annalctl event salvage"},
      {"no table", [] { sql(kLog, "DROP TABLE ANNAL_EVENT;"); }, 1, "fault: the log has no table yet",
       "annalctl event create"},
      {"other tables", [] { sql(kLog, "ALTER TABLE ANNAL_EVENT RENAME TO other;"); }, 1,
       "fault: it has no table ANNAL_EVENT, only others", "some other database"},
      {"columns of an earlier release", [] { sql(kLog, "ALTER TABLE ANNAL_EVENT DROP COLUMN event_client_agent;"); }, 1,
       "fault: it lacks columns that this release has: event_client_agent", "annalctl event migrate"},
      {"columns of no release",
       [] { sql(kLog, "DROP INDEX idx_event_client_app; ALTER TABLE ANNAL_EVENT DROP COLUMN event_client_app;"); }, 1,
       "fault: it lacks columns that this release has: event_client_app", "annalctl event salvage --force"},
      {"indexes", [] { sql(kLog, "DROP INDEX idx_event_date; DROP INDEX idx_event_ip;"); }, 1,
       "read the whole table: idx_event_date, idx_event_ip", "annalctl event salvage --force"},
      {"trigger", [] { sql(kLog, "DROP TRIGGER annal_event_logfull;"); }, 1, "fault: it has no row limit",
       "annalctl event salvage --force"},
      {"more columns", [] { sql(kLog, "ALTER TABLE ANNAL_EVENT ADD COLUMN other;"); }, 0,
       "remark: it has columns that this release does not know: other", "sound"},
      {"page size", [] { sql(kLog, "PRAGMA page_size = 4096; VACUUM;"); }, 0,
       "remark: its pages have 4096 bytes, where the library makes them of 2048", "sound"},
      {"write-ahead", [] { sql(kLog, "PRAGMA journal_mode = WAL;"); }, 0, "remark: it is in write-ahead mode", "sound"},
      {"a write-ahead log that is none of its own", [] { damage::put("/etc/logs/event.log-wal", "x"); }, 1,
       "unknown: /etc/logs/event.log-wal is not its own", "move it away"},
      {"hot journal", [] { damage::cut_off_a_change(kLog, "UPDATE ANNAL_EVENT SET event_desc = 'y' || event_desc;"); },
       1, "unfinished: its last change was interrupted", "annalctl event count"},
      {"a page", [] { damage::overwrite(kLog, fs::file_size(kLog) - 2048, std::string(2048, '\x5a')); }, 1,
       "damaged: it is damaged in ", "annalctl event salvage"},
      {"schema", [] { damage::overwrite(kLog, 100, std::string(1948, '\x5a')); }, 1, "damaged: it is damaged so that",
       "annalctl event salvage"},
      {"half of it", [] { fs::resize_file(kLog, fs::file_size(kLog) / 2); }, 1, "damaged: ", "annalctl event salvage"},
  };
  for (const auto& [name, spoil, status, told, help] : causes) {
    SCOPED_TRACE(name);
    fs::remove_all("/etc/logs");
    fs::create_directory("/etc/logs");
    damage::put(kLog, untouched);
    spoil();
    const bool there = fs::is_directory("/etc/logs");
    const std::string names = there ? names_in_folder() : "";
    const std::string before = contents_of(kLog);
    const Finished checked = annalctl({"event", "check"});
    EXPECT_EQ(checked.status, status);
    EXPECT_NE(checked.out.find(told), std::string::npos) << checked.out << checked.err;
    EXPECT_NE(checked.out.find(help), std::string::npos) << checked.out;
    EXPECT_EQ(checked.out.find("sound: ") != std::string::npos, status == 0) << checked.out;
    EXPECT_TRUE(contents_of(kLog) == before);
    EXPECT_EQ(fs::is_directory("/etc/logs") ? names_in_folder() : "", names);
    EXPECT_EQ(fs::is_directory("/etc/logs"), there);
  }
}

TEST_F(AnnalctlCheckTest, LogThatStaysLockedIsNotCalledSound) {
  const LockHolder holder(kLog);
  const Finished checked = annalctl({"event", "check"});
  EXPECT_EQ(checked.status, 1);
  EXPECT_NE(checked.out.find("unknown: it is locked by process "), std::string::npos) << checked.out;
}

TEST_F(AnnalctlCheckTest, ReadsBesideAWriterThatHasOnlyAnnouncedItself) {
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(kLog, &writer), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(writer, "BEGIN IMMEDIATE; DELETE FROM ANNAL_EVENT;", nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_EQ(annalctl({"event", "check"}).status, 0);
  sqlite3_close(writer);
}

TEST_F(AnnalctlCheckTest, CheckOfAllIsASuccessWhenAllAreSound) {
  EXPECT_EQ(annalctl({"check"}).status, 1);
  ASSERT_EQ(annalctl({"conn", "create"}).status, 0);
  ASSERT_EQ(annalctl({"notice", "create"}).status, 0);
  const Finished checked = annalctl({"check"});
  EXPECT_EQ(checked.status, 0) << checked.out;
  EXPECT_EQ(lines_of(checked.out).size(), 3U);
  EXPECT_EQ(annalctl({"check", "--db", "/etc/logs/a.db"}).status, 1);
  EXPECT_FALSE(exists("/etc/logs/a.db"));
  ASSERT_EQ(annalctl({"fileop", "--db", "/etc/logs/a.db", "create"}).status, 0);
  const Finished four = annalctl({"check", "--db", "/etc/logs/a.db", "--csv"});
  EXPECT_EQ(four.status, 0) << four.out;
  EXPECT_NE(four.out.find("fileop,/etc/logs/a.db,sound,0 file operations"), std::string::npos) << four.out;
  EXPECT_EQ(annalctl({"fileop", "--db", "/etc/logs/a.db", "check"}).status, 0);
}
