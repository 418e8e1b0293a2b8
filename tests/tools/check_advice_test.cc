// What check says of each kind of log that cannot be used, and that following it helps.
#include <sqlite3.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>

#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"

namespace {

namespace fs = std::filesystem;
using annal::test::sql;
using annal::test::value;
using damage::contents_of;
using damage::names_in_folder;
using damage::overwrite;

constexpr const char* kLog = "/etc/logs/event.log";

std::string byte(int value) {
  return std::string(1, static_cast<char>(value));
}

struct Case {
  const char* name;
  std::function<void()> spoil;
  const char* told;
};

void run(const char* statements) {
  sql(kLog, statements);
}

// Each keeps all entries readable.
const Case kCases[] = {
    {"write version", [] { overwrite(kLog, 18, byte(3)); }, "damaged: its header"},
    {"read version", [] { overwrite(kLog, 19, byte(3)); }, "damaged: "},
    {"schema format", [] { overwrite(kLog, 47, byte(9)); }, "damaged: "},
    {"counter at its end", [] { run("UPDATE sqlite_sequence SET seq = 9223372036854775807;"); }, "counter of ids"},
    {"unique index", [] { run("CREATE UNIQUE INDEX mine ON ANNAL_EVENT(event_msgid, event_id);"); }, "may refuse"},
    {"index of an expression", [] { run("CREATE INDEX mine ON ANNAL_EVENT(abs(event_type));"); }, "may refuse"},
    {"index of part", [] { run("CREATE INDEX mine ON ANNAL_EVENT(event_type) WHERE event_type > 1;"); }, "may refuse"},
    {"aborting trigger",
     [] { run("CREATE TRIGGER mine BEFORE INSERT ON ANNAL_EVENT BEGIN SELECT RAISE(ABORT, 'no'); END;"); },
     "triggers of others"},
    {"another trigger of that name",
     [] {
       run("DROP TRIGGER annal_event_logfull; CREATE TRIGGER annal_event_logfull AFTER INSERT ON ANNAL_EVENT BEGIN "
           "DELETE FROM ANNAL_EVENT; END;");
     },
     "row limit is not the library's"},
    {"a letter of the trigger",
     [] {
       run("PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = replace(sql, 'LIMIT', 'LIMITT') WHERE type = "
           "'trigger';");
     },
     ""},
    {"another index of that name",
     [] { run("DROP INDEX idx_event_ip; CREATE INDEX idx_event_ip ON ANNAL_EVENT(event_user);"); },
     "not those of the library: idx_event_ip"},
    {"column that must have a value", [] { run("ALTER TABLE ANNAL_EVENT ADD COLUMN x TEXT NOT NULL DEFAULT 1;"); },
     "do not keep whatever the library stores: x"},
    {"column with a condition", [] { run("ALTER TABLE ANNAL_EVENT ADD COLUMN x CHECK (event_type < 9);"); },
     "do not keep whatever the library stores: x"},
    {"generated column", [] { run("ALTER TABLE ANNAL_EVENT ADD COLUMN x AS (event_type + 1);"); },
     "do not keep whatever the library stores: x"},
    {"column of an earlier release missing", [] { run("ALTER TABLE ANNAL_EVENT DROP COLUMN event_client_agent;"); },
     "event migrate"},
    {"column in the middle missing", [] { run("ALTER TABLE ANNAL_EVENT DROP COLUMN event_client_id;"); },
     "salvage --force"},
    {"column missing, another in capitals",
     [] {
       run("ALTER TABLE ANNAL_EVENT DROP COLUMN event_client_agent; ALTER TABLE ANNAL_EVENT RENAME COLUMN event_date "
           "TO "
           "EVENT_DATE;");
     },
     "salvage --force"},
    {"no trigger", [] { run("DROP TRIGGER annal_event_logfull;"); }, "no row limit"},
    {"no index", [] { run("DROP INDEX idx_event_date;"); }, "lacks indexes"},
    {"a pipe for a journal", [] { ASSERT_EQ(mkfifo("/etc/logs/event.log-journal", 0600), 0); }, "move it away"},
    {"a write-ahead log that is none of its own", [] { damage::put("/etc/logs/event.log-wal", contents_of(kLog)); },
     "move it away"},
    {"unfinished change", [] { damage::cut_off_a_change(kLog, "DELETE FROM ANNAL_EVENT;"); }, "event count"},
};

// What a finding asks for: a command of annalctl's, or a file moved away.
std::vector<std::string> command_in(const std::string& text) {
  const std::size_t begin = text.find("'annalctl ");
  if (begin == std::string::npos) {
    return {};
  }
  std::vector<std::string> words{""};
  for (std::size_t i = begin + std::string_view("'annalctl ").size(); text.at(i) != '\''; ++i) {
    if (text[i] == ' ') {
      words.emplace_back();
    } else {
      words.back() += text[i];
    }
  }
  return words;
}

class AnnalctlCheckAdvice : public AnnalctlEventTest {
 protected:
  void SetUp() override {
    AnnalctlEventTest::SetUp();
    run("WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 60) INSERT INTO ANNAL_EVENT (event_type, "
        "event_date, event_time, event_desc, event_msgid) SELECT i % 3, '2020-01-02', '03:04:05', 'event ' || i, i "
        "FROM "
        "n;");
    good_ = contents_of(kLog);
  }

  void restore_log() const { damage::restore({{kLog, good_}}); }

  std::string good_;
};

}  // namespace

TEST_F(AnnalctlCheckAdvice, LeadsToASoundLogWithAllEntriesInAFewSteps) {
  for (const auto& [name, spoil, told] : kCases) {
    SCOPED_TRACE(name);
    restore_log();
    spoil();
    Finished checked = annalctl({"event", "check"});
    EXPECT_EQ(checked.status, 1) << checked.out;
    EXPECT_NE(checked.out.find(told), std::string::npos) << checked.out;
    for (int steps = 0; steps < 3 && checked.status != 0; ++steps) {
      std::vector<std::string> advised = command_in(checked.out);
      if (advised.empty()) {
        ASSERT_NE(checked.out.find("move it away"), std::string::npos) << checked.out;
        for (const char* beside : {"/etc/logs/event.log-journal", "/etc/logs/event.log-wal"}) {
          if (fs::exists(beside)) {
            fs::rename(beside, std::string(beside) + ".away");
          }
        }
      } else {
        if (advised.at(1) == "salvage") {
          advised.emplace_back("--yes");
        }
        const Finished followed = annalctl(advised);
        EXPECT_EQ(followed.status, 0) << checked.out << followed.err;
      }
      checked = annalctl({"event", "check"});
    }
    EXPECT_EQ(checked.status, 0) << checked.out;
    EXPECT_EQ(value(kLog,
                    "SELECT COUNT(*) FROM ANNAL_EVENT WHERE event_date = '2020-01-02' AND event_desc = 'event ' || "
                    "event_id AND event_msgid = event_id;"),
              "60");
    EXPECT_EQ(annalctl({"event", "add", "one more"}).status, 0);
  }
}

TEST_F(AnnalctlCheckAdvice, NamesNoCommandWhereNoneHelps) {
  const Case hopeless[] = {
      {"highest id", [] { run("INSERT INTO ANNAL_EVENT (event_id) VALUES (9223372036854775807);"); }, "no id is left"},
      {"a view",
       [] { run("ALTER TABLE ANNAL_EVENT RENAME TO other; CREATE VIEW ANNAL_EVENT AS SELECT * FROM other;"); },
       "is a view"},
      {"without row ids",
       [] { run("DROP TABLE ANNAL_EVENT; CREATE TABLE ANNAL_EVENT (event_id INTEGER PRIMARY KEY) WITHOUT ROWID;"); },
       "of a kind that no entries can be stored in"},
      {"a virtual table",
       [] { run("DROP TABLE ANNAL_EVENT; CREATE VIRTUAL TABLE ANNAL_EVENT USING fts4(event_id, event_desc);"); },
       "of a kind that no entries can be stored in"},
  };
  for (const auto& [name, spoil, told] : hopeless) {
    SCOPED_TRACE(name);
    restore_log();
    spoil();
    const std::string before = contents_of(kLog);
    const Finished checked = annalctl({"event", "check"});
    EXPECT_EQ(checked.status, 1);
    EXPECT_NE(checked.out.find(told), std::string::npos) << checked.out;
    EXPECT_NE(checked.out.find("then run 'annalctl event create'"), std::string::npos) << checked.out;
    EXPECT_TRUE(contents_of(kLog) == before);
  }
}

TEST_F(AnnalctlCheckAdvice, CallsTheLibrarysOtherLayoutsSound) {
  const Case layouts[] = {
      {"capitals", [] { run("ALTER TABLE ANNAL_EVENT RENAME COLUMN event_date TO Event_DATE;"); }, ""},
      {"other limits",
       [] {
         ASSERT_EQ(annalctl({"event", "flush"}).status, 0);
         fs::remove(kLog);
         ASSERT_EQ(annalctl({"event", "create", "--limit", "5", "--batch", "2"}).status, 0);
       },
       ""},
      {"another order",
       [] {
         run("DROP INDEX idx_event_client_app; ALTER TABLE ANNAL_EVENT DROP COLUMN event_client_app; ALTER TABLE "
             "ANNAL_EVENT ADD COLUMN event_client_app TEXT DEFAULT 'x'");
       },
       "no indexes of columns that were added later"},
      {"migrated",
       [] {
         run("ALTER TABLE ANNAL_EVENT DROP COLUMN event_client_agent;");
         ASSERT_EQ(annalctl({"event", "migrate"}).status, 0);
       },
       ""},
      {"another's index", [] { run("CREATE INDEX mine ON ANNAL_EVENT(event_desc, event_date DESC);"); }, "mine"},
      {"write-ahead mode", [] { run("PRAGMA journal_mode = WAL;"); }, "write-ahead mode"},
      {"a link",
       [] {
         fs::rename(kLog, "/etc/logs/elsewhere");
         fs::create_symlink("/etc/logs/elsewhere", kLog);
       },
       ""},
  };
  for (const auto& [name, make, told] : layouts) {
    SCOPED_TRACE(name);
    restore_log();
    make();
    const Finished checked = annalctl({"event", "check"});
    EXPECT_EQ(checked.status, 0) << checked.out;
    EXPECT_NE(checked.out.find(told), std::string::npos) << checked.out;
    EXPECT_EQ(annalctl({"event", "add", "one more"}).status, 0);
  }
}

TEST_F(AnnalctlCheckAdvice, NeverDeletesNotices) {
  ASSERT_EQ(annalctl({"notice", "create"}).status, 0);
  sql("/etc/logs/notice.log",
      "ALTER TABLE ANNAL_NOTICE DROP COLUMN title; DROP INDEX idx_gid; ALTER TABLE ANNAL_NOTICE DROP COLUMN gid; "
      "INSERT "
      "INTO ANNAL_NOTICE (desc) VALUES ('x');");
  const Finished checked = annalctl({"notice", "check"});
  EXPECT_EQ(checked.out.find("notice migrate"), std::string::npos) << checked.out;
  EXPECT_NE(checked.out.find("notice salvage --force"), std::string::npos) << checked.out;
}

// --- it creates nothing, and ends ---

TEST_F(AnnalctlCheckAdvice, CountsWhatIsInAWriteAheadLogAndCreatesNothing) {
  sqlite3* writer = nullptr;
  ASSERT_EQ(sqlite3_open(kLog, &writer), SQLITE_OK);
  ASSERT_EQ(sqlite3_exec(writer, "PRAGMA journal_mode = WAL; DELETE FROM ANNAL_EVENT WHERE event_id > 50;", nullptr,
                         nullptr, nullptr),
            SQLITE_OK);
  EXPECT_EQ(annalctl({"event", "check"}).out.rfind("/etc/logs/event.log: sound: 50 events\n", 0), 0U);
  // Cut under the hands of its users: what maps it is ended by a signal.
  const std::string file = contents_of(kLog);
  const std::string ahead = contents_of(std::string(kLog) + "-wal");
  sqlite3_close(writer);
  damage::put(kLog, file);
  damage::put(std::string(kLog) + "-wal", ahead);
  damage::put(std::string(kLog) + "-shm", "");
  const std::string names = names_in_folder();
  EXPECT_EQ(annalctl({"event", "check"}).status, 0);
  EXPECT_EQ(names_in_folder(), names);
  EXPECT_TRUE(contents_of(kLog) == file);
  EXPECT_TRUE(contents_of(std::string(kLog) + "-wal") == ahead);
  EXPECT_EQ(contents_of(std::string(kLog) + "-shm"), "");
}

TEST_F(AnnalctlCheckAdvice, DoesNotWaitForWhatCannotBeOpened) {
  fs::remove(kLog);
  ASSERT_EQ(mkfifo(kLog, 0600), 0);
  const Finished checked = annalctl({"event", "check"});
  EXPECT_EQ(checked.status, 1);
  EXPECT_NE(checked.out.find("unknown: it is not a file"), std::string::npos) << checked.out;
  const Finished salvaged = annalctl({"event", "salvage", "--yes"});
  EXPECT_EQ(salvaged.err.find("not damaged"), std::string::npos) << salvaged.err;
}

TEST_F(AnnalctlCheckAdvice, EndsInTimeOnHostileSchemasAndHoles) {
  const Case hostile[] = {
      {"expression of 2 GB",
       [] {
         run("CREATE INDEX big ON ANNAL_EVENT(length(hex(CASE WHEN event_type < 9 THEN 'x' ELSE zeroblob(900000000) "
             "END)));");
         run("PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = replace(sql, '< 9', '> 9') WHERE name = "
             "'big';");
       },
       ""},
      {"views of views",
       [] {
         run("CREATE VIEW v0 AS SELECT * FROM ANNAL_EVENT, ANNAL_EVENT;");
         for (int i = 1; i < 30; ++i) {
           run(("CREATE VIEW v" + std::to_string(i) + " AS SELECT * FROM v" + std::to_string(i - 1) +
                " UNION ALL SELECT "
                "* FROM v" +
                std::to_string(i - 1) + ";")
                   .c_str());
         }
       },
       "sound"},
      {"holes of 2 TB", [] { ASSERT_EQ(truncate(kLog, off_t{2} << 40), 0); }, "sound"},
      {"holes of 2 TB and a header that counts them",
       [] {
         ASSERT_EQ(truncate(kLog, off_t{2} << 40), 0);
         overwrite(kLog, 92, std::string(4, '\x7f'));
       },
       "damaged"},
  };
  for (const auto& [name, spoil, told] : hostile) {
    SCOPED_TRACE(name);
    restore_log();
    spoil();
    const auto begun = std::chrono::steady_clock::now();
    const Finished checked = annalctl({"event", "check"});
    EXPECT_NE(checked.status, -1);
    EXPECT_NE(checked.out.find(told), std::string::npos) << checked.out;
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(40)) << checked.out;
  }
}
