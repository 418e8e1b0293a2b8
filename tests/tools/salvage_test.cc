// What annalctl salvage keeps, refuses, reports and leaves behind.
#include <sqlite3.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <set>
#include <string>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using annal::test::exists;
using annal::test::sql;
using annal::test::value;
using damage::contents_of;
using damage::names_in_folder;
using damage::overwrite;
using damage::put;

constexpr const char* kLog = "/etc/logs/event.log";
constexpr const char* kGood = "/etc/logs/good";
constexpr std::size_t kPage = 2048;

// Neither a page of a database nor a text.
std::string garbage(std::size_t size) {
  std::string bytes;
  std::uint32_t state = 1;
  while (bytes.size() < size) {
    state = state * 1664525U + 1013904223U;
    bytes += static_cast<char>(state >> 24U | 0x80U);
  }
  return bytes;
}

std::string aside() {
  std::string found;
  for (const auto& entry : fs::directory_iterator("/etc/logs")) {
    if (entry.path().string().find(".aside-") != std::string::npos) {
      EXPECT_EQ(found, "") << "one is enough";
      found = entry.path().string();
    }
  }
  return found;
}

// With a limit of its own, and rows on several leaf pages: short ones, and some with overflow pages.
class AnnalctlSalvageTest : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    ASSERT_EQ(annalctl({"event", "create", "--limit", "5000", "--batch", "7"}).status, 0);
    sql(kLog,
        "WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 100) "
        "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_desc, event_timet) "
        "SELECT i % 3, '2026-01-02', '03:04:05', 'user' || i, "
        "hex(zeroblob(CASE WHEN i % 20 = 0 THEN 3000 ELSE 20 END)) || i, 1700000000 + i FROM n; "
        "DELETE FROM ANNAL_EVENT WHERE event_id > 95;");
    good_ = contents_of(kLog);
  }

  // The original log, and a copy to compare with.
  void restore_log() const { damage::restore({{kLog, good_}, {kGood, good_}}); }

  static std::string trigger() { return value(kLog, "SELECT sql FROM sqlite_master WHERE type = 'trigger';"); }

  static std::set<std::string> differing() { return damage::differing_events(kLog, kGood); }

  std::string good_;
};

// Which rows have a part on a page, by SQLite's own account of the file.
std::map<std::size_t, std::set<std::string>> rows_by_page() {
  std::map<std::size_t, std::set<std::string>> rows;
  std::map<std::string, int> first_of_leaf;
  int next = 1;
  for (const auto& row : sql(kLog,
                             "SELECT pageno, pagetype, path, ncell FROM dbstat WHERE name = 'ANNAL_EVENT' ORDER BY "
                             "pagetype, path;")) {  // leaves before overflow pages
    const std::string& path = row.at(2);
    std::set<std::string>& ids = rows[std::stoul(row.at(0)) - 1];
    if (row.at(1) == "leaf") {
      first_of_leaf[path] = next;
      for (int i = 0; i < std::stoi(row.at(3)); ++i) {
        ids.insert(std::to_string(next++));
      }
    } else if (row.at(1) == "overflow") {
      const std::size_t slash = path.rfind('/') + 1;
      ids.insert(
          std::to_string(first_of_leaf.at(path.substr(0, slash)) + std::stoi(path.substr(slash, 3), nullptr, 16)));
    }
  }
  return rows;
}

}  // namespace

// --- what is saved ---

TEST_F(AnnalctlSalvageTest, SavesTheRowsOfAllPagesButTheOverwrittenOne) {
  const std::map<std::size_t, std::set<std::string>> rows = rows_by_page();
  std::set<std::size_t> leaves;
  for (const auto& [page, ids] : rows) {
    leaves.insert(page);
  }
  ASSERT_GT(leaves.size(), 10U);
  const std::string limits = trigger();
  std::set<std::size_t> schema;
  for (const auto& row : sql(kLog, "SELECT pageno FROM dbstat WHERE name IN ('sqlite_master', 'sqlite_schema');")) {
    schema.insert(std::stoul(row.at(0)) - 1);
  }
  for (std::size_t page = 0; page < good_.size() / kPage; ++page) {
    SCOPED_TRACE(page);
    restore_log();
    overwrite(kLog, page * kPage, garbage(kPage));
    const std::string damaged = contents_of(kLog);
    const Finished salvaged = annalctl({"event", "salvage", "--json"});
    ASSERT_EQ(salvaged.status, 0) << salvaged.err;
    const std::set<std::string> allowed = rows.contains(page) ? rows.at(page) : std::set<std::string>{};
    for (const std::string& id : differing()) {
      EXPECT_TRUE(allowed.contains(id)) << "row " << id;
    }
    if (salvaged.out.empty()) {
      // A free page may hold anything, and a text that continues on a page of garbage is a text like any other: SQLite
      // calls the file sound.
      EXPECT_LE(allowed.size(), 1U);
      EXPECT_TRUE(contents_of(kLog) == damaged);
      continue;
    }
    EXPECT_TRUE(contents_of(aside()) == damaged);
    EXPECT_EQ(Json::parse(salvaged.out)["aside"], aside());
    EXPECT_EQ(std::to_string(Json::parse(salvaged.out)["saved"].get<int>()),
              value(kLog, "SELECT COUNT(*) FROM ANNAL_EVENT;"));
    if (!schema.contains(page)) {
      EXPECT_EQ(trigger(), limits);
      const std::string left = value(kLog, "SELECT 95 - COUNT(*) FROM ANNAL_EVENT;");
      EXPECT_EQ(Json::parse(salvaged.out)["lost"].dump(), left);
    }
    EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM sqlite_master;"), value(kGood, "SELECT COUNT(*) FROM sqlite_master;"));
    EXPECT_EQ(annalctl({"event", "check"}).status, 0);
  }
}

TEST_F(AnnalctlSalvageTest, FindsRowsWithoutTheHeaderAndInHalfOfTheFile) {
  restore_log();
  overwrite(kLog, 0, std::string(100, '\0'));
  ASSERT_EQ(annalctl({"event", "salvage"}).status, 0);
  EXPECT_TRUE(differing().empty());

  restore_log();
  const std::map<std::size_t, std::set<std::string>> rows = rows_by_page();
  const std::size_t left = good_.size() / kPage * 2 / 3;
  fs::resize_file(kLog, left * kPage + kPage / 2);
  const Finished salvaged = annalctl({"event", "salvage"});
  ASSERT_EQ(salvaged.status, 0) << salvaged.err;
  std::set<std::string> cut;
  for (const auto& [page, ids] : rows) {
    if (page >= left) {
      cut.insert(ids.begin(), ids.end());
    }
  }
  for (const std::string& id : differing()) {
    EXPECT_TRUE(cut.contains(id)) << "row " << id;
  }
}

TEST_F(AnnalctlSalvageTest, RecognizesPagesOfEverySizeWithoutAHeader) {
  for (const char* size : {"512", "4096", "65536"}) {
    SCOPED_TRACE(size);
    restore_log();
    sql(kLog, std::string("PRAGMA page_size = ") + size + "; VACUUM;");
    overwrite(kLog, 0, garbage(100));
    ASSERT_EQ(annalctl({"event", "salvage"}).status, 0);
    EXPECT_TRUE(differing().empty());
    EXPECT_EQ(value(kLog, "PRAGMA page_size;"), "2048");
  }
}

TEST_F(AnnalctlSalvageTest, LeavesOutDeletedRowsAndNeverReusesTheirIds) {
  sql(kLog, "PRAGMA secure_delete = OFF; DELETE FROM ANNAL_EVENT WHERE event_id BETWEEN 30 AND 60;");
  put(kGood, contents_of(kLog));
  const std::size_t leaf = rows_by_page().begin()->first;
  overwrite(kLog, leaf * kPage, garbage(kPage));
  ASSERT_EQ(annalctl({"event", "salvage"}).status, 0);
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM ANNAL_EVENT WHERE event_id BETWEEN 30 AND 60;"), "0");
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_desc) VALUES ('next');");
  EXPECT_EQ(value(kLog, "SELECT MAX(event_id) FROM ANNAL_EVENT;"), "101");
}

TEST_F(AnnalctlSalvageTest, KeepsRowsBeyondTheLimitAndTheLimit) {
  sql(kLog, "DROP TRIGGER annal_event_logfull;");
  const Finished without = annalctl({"event", "salvage", "--force", "--json"});
  EXPECT_EQ(Json::parse(without.out)["limit"], 100000) << without.err;
  ASSERT_EQ(annal_event_remove_trigger_logfull(), ANNAL_OK);
  ASSERT_EQ(annal_event_add_trigger_logfull(10, 20), ANNAL_OK);
  fs::remove(aside());
  const Finished salvaged = annalctl({"event", "salvage", "--force", "--json"});
  const Json told = Json::parse(salvaged.out);
  EXPECT_EQ(told["saved"], 95);
  EXPECT_EQ(told["limit"], 10);
  EXPECT_EQ(told["batch"], 20);
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_desc) VALUES ('next');");
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM ANNAL_EVENT;"), "76");
}

TEST_F(AnnalctlSalvageTest, RowsOfAnEarlierReleaseKeepWhatTheirNewerColumnsHave) {
  const char* const table =
      "CREATE TABLE ANNAL_EVENT (event_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, event_type INTEGER, event_date "
      "TEXT, "
      "event_time TEXT, event_user TEXT, event_ip TEXT, event_comp TEXT, event_desc TEXT); ";
  fs::remove(kLog);
  sql(kLog, std::string(table) +
                "WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 100) INSERT INTO ANNAL_EVENT "
                "(event_type, event_desc) SELECT 1, hex(zeroblob(50)) FROM n;");
  sql(kLog, "PRAGMA page_size = 2048; VACUUM;");
  ASSERT_EQ(annalctl({"event", "migrate"}).status, 0);
  // Its root: neither way through the tree leads anywhere.
  const auto root = std::stoul(value(kLog, "SELECT rootpage FROM sqlite_master WHERE name = 'ANNAL_EVENT';"));
  overwrite(kLog, (root - 1) * kPage, garbage(kPage));
  const Finished salvaged = annalctl({"event", "salvage"});
  EXPECT_EQ(salvaged.status, 0) << salvaged.err;
  EXPECT_EQ(value(kLog,
                  "SELECT COUNT(*) FROM ANNAL_EVENT WHERE event_msgid = '0' AND event_app_id = '---' AND event_user IS "
                  "NULL;"),
            "100");
  EXPECT_NE(salvaged.err.find("its row limit could not be read: it is 100000 now, 1000 at once"), std::string::npos)
      << salvaged.err;
}

TEST_F(AnnalctlSalvageTest, ReadsEveryKindOfValueFromPagesAsFromTheTable) {
  sql(kLog,
      "INSERT INTO ANNAL_EVENT (event_id, event_type, event_desc) VALUES (1000, 0, ''), (1001, 1, NULL), (1002, -1, "
      "'ä'), (1003, 127, x'00ff'), (1004, -32768, 'x'), (1005, 8388607, 'x'), (1006, -2147483648, 'x'), (1007, "
      "140737488355327, 'x'), (1008, -9223372036854775808, 'x'), (1009, 1.5, 'x'), (1010, 'text', 'x'), "
      "(9223372036854775000, 1, 'x'), (-5, 1, 'x');");
  // And rows of the lengths at which more or less of a row moves to other pages.
  for (const char* length : {"1930", "2180", "3960", "4220"}) {
    sql(kLog,
        std::string("WITH n(i) AS (VALUES (") + length + ") UNION ALL SELECT i + 1 FROM n WHERE i < " + length +
            " + 110) INSERT INTO ANNAL_EVENT (event_id, event_desc) SELECT i + 10000, printf('%.*c', i, 'd') FROM n;");
  }
  put(kGood, contents_of(kLog));
  overwrite(kLog, 0, garbage(kPage));
  ASSERT_EQ(annalctl({"event", "salvage"}).status, 0);
  EXPECT_TRUE(differing().empty());
}

TEST_F(AnnalctlSalvageTest, SalvagesEveryLog) {
  const struct {
    std::vector<std::string> log;
    const char* path;
    const char* table;
    const char* column;
  } logs[] = {{{"conn"}, "/etc/logs/conn.log", "ANNAL_CONN", "conn_user"},
              {{"notice"}, "/etc/logs/notice.log", "ANNAL_NOTICE", "user"},
              {{"fileop", "--db", "/etc/logs/a?b%20#.db"}, "/etc/logs/a?b%20#.db", "PAVO2LOG_EVENT", "event_user"}};
  for (const auto& [log, path, table, column] : logs) {
    SCOPED_TRACE(path);
    const auto run = [&log = log](const std::vector<std::string>& command) {
      std::vector<std::string> arguments = log;
      arguments.insert(arguments.end(), command.begin(), command.end());
      return annalctl(arguments);
    };
    ASSERT_EQ(run({"create", "--limit", "777", "--batch", "3"}).status, 0);
    sql(path, std::string("WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 50) INSERT INTO ") + table +
                  " (" + column + ") SELECT hex(zeroblob(50)) || i FROM n;");
    const std::string schema = value(path, "SELECT group_concat(name || sql) FROM sqlite_master;");
    const std::string rows = value(path, std::string("SELECT group_concat(") + column + ") FROM " + table + ";");
    overwrite(path, 0, garbage(100));
    EXPECT_EQ(run({"check"}).status, 1);
    const Finished salvaged = run({"salvage"});
    EXPECT_EQ(salvaged.status, 0) << salvaged.err;
    EXPECT_EQ(value(path, "SELECT group_concat(name || sql) FROM sqlite_master;"), schema);
    EXPECT_EQ(value(path, std::string("SELECT group_concat(") + column + ") FROM " + table + ";"), rows);
    EXPECT_EQ(run({"check"}).status, 0);
  }
}

TEST_F(AnnalctlSalvageTest, EndsSoonOnHostilePages) {
  // Every cell of every page is the same, and continues on a page that continues on itself, for longer than the file.
  std::string page(kPage, '\0');
  page[0] = 0x0D;
  page[3] = 0x03;  // 1000 cells at 1800
  page[4] = static_cast<char>(0xE8);
  const std::string cell("\xff\x7f\x01\x05\x00\x83\xff\x70\x00", 9);
  for (std::size_t place = 8; place + 2 <= 1800; place += 2) {
    page[place] = 0x07;
    page[place + 1] = 0x08;
  }
  page.replace(1800, cell.size(), cell);
  std::string file = good_.substr(0, kPage);
  for (int i = 0; i < 500; ++i) {
    file += page;
  }
  put(kLog, file);
  EXPECT_EQ(annalctl({"event", "salvage", "--force"}).status, 0);
  put(kLog, file.replace(0, 16, 16, 'x'));  // so that pages of every size are tried
  EXPECT_EQ(annalctl({"event", "salvage", "--force"}).status, 0);
}

// --- when it is refused ---

TEST_F(AnnalctlSalvageTest, LeavesASoundLogAloneUnlessForced) {
  const Finished refused = annalctl({"event", "salvage"});
  EXPECT_EQ(refused.status, 0);
  EXPECT_NE(refused.err.find("/etc/logs/event.log is sound (95 events): nothing was changed"), std::string::npos)
      << refused.err;
  EXPECT_EQ(names_in_folder(), "event.log ");
  put(kGood, good_);
  const Finished forced = annalctl({"event", "salvage", "--force"});
  EXPECT_EQ(forced.status, 0) << forced.err;
  EXPECT_NE(forced.out.find("saved 95 events in /etc/logs/event.log; none is known to be lost"), std::string::npos)
      << forced.out;
  EXPECT_TRUE(differing().empty());
  EXPECT_TRUE(contents_of(aside()) == good_);
}

TEST_F(AnnalctlSalvageTest, LeavesAnythingButADamagedLogAlone) {
  const struct {
    const char* name;
    std::function<void()> spoil;
    const char* told;
    bool can_be_forced;
  } causes[] = {
      {"missing", [] { fs::remove(kLog); }, "there is no log yet", false},
      {"a folder", [] { fs::remove(kLog), fs::create_directory(kLog); }, "it is not a file", false},
      {"empty", [] { fs::resize_file(kLog, 0); }, "it is empty", true},
      {"a text", [] { put(kLog, "some text"); }, "nothing in it looks like one of its rows", true},
      {"no index", [] { sql(kLog, "DROP INDEX idx_event_ip;"); }, "it lacks indexes", true},
      {"other tables",
       [] {
         sql(kLog, "CREATE TABLE other (x);");
         overwrite(
             kLog,
             (std::stoul(value(kLog, "SELECT rootpage FROM sqlite_master WHERE name = 'idx_event_ip';")) - 1) * kPage,
             garbage(kPage));
       },
       "it has other tables too", true},
  };
  for (const auto& [name, spoil, told, can_be_forced] : causes) {
    SCOPED_TRACE(name);
    restore_log();
    spoil();
    const std::string names = names_in_folder();
    const std::string before = contents_of(kLog);
    const Finished refused = annalctl({"event", "salvage"});
    EXPECT_EQ(refused.status, 1);
    EXPECT_NE(refused.err.find(told), std::string::npos) << refused.err;
    EXPECT_EQ(names_in_folder(), names);
    EXPECT_TRUE(contents_of(kLog) == before);
    const Finished forced = annalctl({"event", "salvage", "--force"});
    EXPECT_EQ(forced.status, can_be_forced ? 0 : 1) << forced.err;
    if (can_be_forced) {
      EXPECT_TRUE(contents_of(aside()) == before);
      EXPECT_EQ(annalctl({"event", "check"}).status, 0);
    }
  }
}

TEST_F(AnnalctlSalvageTest, DoesNotCallAMissingLogUndamaged) {
  fs::remove(kLog);
  const Finished finished = annalctl({"event", "salvage"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(finished.err, "annalctl: /etc/logs/event.log: there is no log yet: run 'annalctl event create'\n");
}

TEST_F(AnnalctlSalvageTest, RefusesALockedLog) {
  overwrite(kLog, 5 * kPage, garbage(kPage));
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(kLog, &writer), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(writer, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr), SQLITE_OK);
  const Finished refused = annalctl({"event", "salvage"});
  sqlite3_close(writer);
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("is locked by process " + std::to_string(getpid())), std::string::npos) << refused.err;
  EXPECT_EQ(names_in_folder().find("salvage"), std::string::npos);
}

TEST_F(AnnalctlSalvageTest, AsksAtATerminal) {
  overwrite(kLog, 5 * kPage, garbage(kPage));
  EXPECT_EQ(annalctl_at_terminal({"event", "salvage"}, "n\n").status, 1);
  EXPECT_EQ(names_in_folder(), "event.log ");
  EXPECT_EQ(annalctl_at_terminal({"event", "salvage"}, "y\n").status, 0);
  EXPECT_NE(aside(), "");
}

// --- files ---

TEST_F(AnnalctlSalvageTest, KeepsOwnerAndModeAndFollowsALinkToTheLog) {
  fs::create_directory("/etc/logs/elsewhere");
  const char* const real = "/etc/logs/elsewhere/real.log";
  fs::rename(kLog, real);
  fs::create_symlink(real, kLog);
  ASSERT_EQ(chmod(real, 0640), 0);
  // Allowed or not: as it was it has to be. One who may write the log has its folder too.
  static_cast<void>(chown(real, 7, 7));
  static_cast<void>(chown("/etc/logs/elsewhere", 7, 7));
  struct stat before {};
  ASSERT_EQ(stat(real, &before), 0);
  overwrite(kLog, 5 * kPage, garbage(kPage));
  ASSERT_EQ(annalctl({"event", "salvage"}).status, 0);
  EXPECT_TRUE(fs::is_symlink(kLog));
  struct stat after {};
  ASSERT_EQ(stat(kLog, &after), 0);
  EXPECT_NE(after.st_ino, before.st_ino);
  EXPECT_EQ(after.st_mode, before.st_mode);
  EXPECT_EQ(after.st_uid, before.st_uid);
  EXPECT_EQ(after.st_gid, before.st_gid);
  EXPECT_EQ(names_in_folder(), "elsewhere event.log ");
}

TEST_F(AnnalctlSalvageTest, RollsBackAnInterruptedChangeAndKeepsBothFiles) {
  const auto index = std::stoul(value(kLog, "SELECT rootpage FROM sqlite_master WHERE name = 'idx_event_ip';")) - 1;
  for (const bool damaged : {false, true}) {
    SCOPED_TRACE(damaged);
    restore_log();
    damage::cut_off_a_change(kLog, "UPDATE ANNAL_EVENT SET event_user = 'y' || event_user, event_desc = event_user;");
    overwrite(kLog, index * kPage, damaged ? garbage(kPage) : good_.substr(index * kPage, kPage));
    const std::string half = contents_of(kLog);
    const std::string undoing = contents_of(std::string(kLog) + "-journal");
    ASSERT_TRUE(half != good_);
    const Finished salvaged = annalctl({"event", "salvage"});
    EXPECT_EQ(salvaged.status, 0) << salvaged.err;
    const bool alone = salvaged.err.find("is sound (95 events): nothing else was changed") != std::string::npos;
    EXPECT_EQ(alone, !damaged) << salvaged.err;
    EXPECT_EQ(aside().empty(), !damaged);
    EXPECT_TRUE(differing().empty());
    EXPECT_FALSE(exists("/etc/logs/event.log-journal"));
    std::string kept;
    for (const auto& entry : fs::directory_iterator("/etc/logs")) {
      const std::string name = entry.path().string();
      kept = name.find(".unfinished-") != std::string::npos && !name.ends_with("-journal") ? name : kept;
    }
    EXPECT_TRUE(contents_of(kept) == half);
    EXPECT_TRUE(contents_of(kept + "-journal") == undoing);
  }
}

TEST_F(AnnalctlSalvageTest, DoesNotApplyAJournalToTheNewFile) {
  restore_log();
  damage::cut_off_a_change(kLog, "DELETE FROM ANNAL_EVENT;");
  overwrite(kLog, 0, garbage(100));
  ASSERT_EQ(annalctl({"event", "salvage"}).status, 0);
  EXPECT_FALSE(exists("/etc/logs/event.log-journal"));
  EXPECT_TRUE(differing().empty());
  EXPECT_EQ(annalctl({"event", "check"}).status, 0);
}

TEST_F(AnnalctlSalvageTest, LeavesWriteAheadModeFirst) {
  restore_log();
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(kLog, &writer), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(writer, "PRAGMA journal_mode = WAL; DELETE FROM ANNAL_EVENT WHERE event_id > 50;", nullptr,
                         nullptr, nullptr),
            SQLITE_OK);
  const std::string file = contents_of(kLog);
  const std::string ahead = contents_of(std::string(kLog) + "-wal");
  sqlite3_close(writer);
  put(kLog, file);
  put(std::string(kLog) + "-wal", ahead);
  const Finished salvaged = annalctl({"event", "salvage", "--force"});
  EXPECT_EQ(salvaged.status, 0) << salvaged.err;
  EXPECT_FALSE(exists("/etc/logs/event.log-wal"));
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM ANNAL_EVENT;"), "50");
  EXPECT_EQ(annalctl({"event", "check"}).out, "/etc/logs/event.log: sound: 50 events\n");
}

TEST_F(AnnalctlSalvageTest, RepeatsAnInterruptedRun) {
  restore_log();
  overwrite(kLog, 5 * kPage, garbage(kPage));
  // Killed while the new file was written, and another time when the old one had its second name.
  put("/etc/logs/event.log.salvage-20260101-000000", "half of it");
  put("/etc/logs/event.log.aside-20250101-000000", "of another time");
  fs::create_hard_link(kLog, "/etc/logs/event.log.aside-20260101-000001");
  const std::string damaged = contents_of(kLog);
  const Finished salvaged = annalctl({"event", "salvage", "--json"});
  EXPECT_EQ(salvaged.status, 0) << salvaged.err;
  EXPECT_EQ(Json::parse(salvaged.out)["aside"], "/etc/logs/event.log.aside-20260101-000001");
  EXPECT_NE(salvaged.err.find("event.log.salvage-20260101-000000 was left by an interrupted run"), std::string::npos)
      << salvaged.err;
  EXPECT_TRUE(contents_of("/etc/logs/event.log.aside-20260101-000001") == damaged);
  EXPECT_EQ(contents_of("/etc/logs/event.log.aside-20250101-000000"), "of another time");
  EXPECT_EQ(names_in_folder(),
            "event.log event.log.aside-20250101-000000 event.log.aside-20260101-000001 "
            "event.log.salvage-20260101-000000 good ");
  EXPECT_EQ(annalctl({"event", "check"}).status, 0);
}
