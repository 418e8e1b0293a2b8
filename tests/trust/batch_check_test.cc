// The check that the header shows at annal_conn_add_entries2: a caller that runs it first loses no log to a batch.
// Waits are counted, not waited.
#include <sqlite3.h>

#include <array>
#include <filesystem>
#include <functional>
#include <ostream>
#include <string>

#include "Corix_annal.hpp"
#include "common/paths.h"
#include "tests/support/log_file.h"
#include "tests/trust/harness/scenarios.h"
#include "tests/trust/harness/shim_vfs.h"
#include "tests/trust/harness/trust_test.h"

extern "C" int header_example();

namespace annal::test {
namespace {

namespace fs = std::filesystem;

constexpr int kRecords = 2;

// What a batch does to a log without the check.
enum class Batch {
  kStores,      // its records, and keeps the old ones
  kLosesRows,   // some or all of its own, and returns success
  kThrowsAway,  // deletes the old entries
};

struct Situation {
  const char* name;
  Batch batch;
  std::function<void()> make;
  long waits = 0;  // the check's waits in milliseconds
};

void PrintTo(const Situation& situation, std::ostream* out) {
  *out << situation.name;
}

Situation by_sql(const char* name, Batch batch, const char* statements) {
  return {name, batch, [statements] { sql(kConnLog, statements); }};
}

// Changes a byte of the file.
Situation by_byte(const char* name, Batch batch, std::size_t place, char byte) {
  return {name, batch, [place, byte] {
            std::string log = read_file(kConnLog);
            log.at(place) = byte;
            write_file(kConnLog, log);
          }};
}

// Replaces text of the schema by text of the same length; SQLite would check a change made through SQL.
Situation by_text(const char* name, Batch batch, const char* from, const char* to) {
  return {name, batch, [from, to] {
            std::string log = read_file(kConnLog);
            const std::size_t place = log.find(from);
            ASSERT_NE(place, std::string::npos);
            write_file(kConnLog, log.replace(place, std::char_traits<char>::length(to), to));
          }};
}

class Lock {
 public:
  ~Lock() { release(); }
  void take(const char* statement) {
    ASSERT_EQ(sqlite3_open(kConnLog, &handle_), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(handle_, statement, nullptr, nullptr, nullptr), SQLITE_OK);
  }
  void release() {
    sqlite3_close(handle_);
    handle_ = nullptr;
  }

 private:
  sqlite3* handle_ = nullptr;
};
Lock lock;

std::vector<Situation> situations() {
  constexpr std::size_t kWriteVersion = 18;
  std::vector<Situation> all{
      {"ASoundLog", Batch::kStores, [] {}},
      by_sql("AFullLog", Batch::kStores,
             "DROP TRIGGER annal_conn_logfull; CREATE TRIGGER annal_conn_logfull AFTER INSERT ON annal_conn WHEN 3 < "
             "(SELECT COUNT(*) FROM annal_conn) BEGIN DELETE FROM annal_conn WHERE conn_id IN (SELECT conn_id FROM "
             "annal_conn ORDER BY conn_date DESC, conn_time DESC LIMIT 1); END;"),
      by_sql("FurtherColumnsAndTables", Batch::kStores,
             "ALTER TABLE ANNAL_CONN ADD COLUMN later TEXT; CREATE TABLE other (x);"),
      by_sql("AForeignIndex", Batch::kStores, "CREATE INDEX theirs ON ANNAL_CONN (conn_res, conn_user);"),
      by_sql("WriteAheadMode", Batch::kStores, "PRAGMA journal_mode = WAL;"),
      {"NoLog", Batch::kThrowsAway, [] { fs::remove(kConnLog); }},
      {"AnEmptyFile", Batch::kThrowsAway, [] { write_file(kConnLog, ""); }},
      {"NoDatabase", Batch::kThrowsAway, [] { write_file(kConnLog, std::string(4096, 'x')); }},
      {"CutOff", Batch::kThrowsAway, [] { fs::resize_file(kConnLog, 1000); }},
      by_text("ATableThatCannotBeRead", Batch::kThrowsAway, "CREATE TABLE", "CREATE TRBLE"),
      by_text("AnIndexThatCannotBeRead", Batch::kThrowsAway, "CREATE INDEX", "CREATE JNDEX"),
      by_text("ATriggerThatCannotBeRead", Batch::kThrowsAway, "COUNT(*)", "COUNZ(*)"),
      by_sql("ATriggerOnWhatIsGone", Batch::kThrowsAway,
             "CREATE TRIGGER theirs AFTER INSERT ON ANNAL_CONN BEGIN INSERT INTO gone VALUES (1); END;"),
      by_sql(
          "AnIndexOfAnUnknownOrder", Batch::kThrowsAway,
          "CREATE INDEX theirs ON ANNAL_CONN (conn_res); PRAGMA writable_schema = ON; UPDATE sqlite_master SET sql = "
          "'CREATE INDEX theirs ON ANNAL_CONN (conn_res COLLATE theirs)' WHERE name = 'theirs';"),
      by_sql("NoTable", Batch::kThrowsAway, "ALTER TABLE ANNAL_CONN RENAME TO other;"),
      by_sql("AView", Batch::kThrowsAway,
             "ALTER TABLE ANNAL_CONN RENAME TO t; CREATE VIEW ANNAL_CONN AS SELECT * FROM t;"),
      by_byte("AFormatOfTheFuture", Batch::kLosesRows, kWriteVersion, 3),
      by_sql("AnAbortingTrigger", Batch::kLosesRows,
             "CREATE TRIGGER theirs BEFORE INSERT ON ANNAL_CONN BEGIN SELECT RAISE(ABORT, 'no'); END;"),
      by_sql("AForeignUniqueIndex", Batch::kLosesRows, "CREATE UNIQUE INDEX theirs ON ANNAL_CONN (conn_res);"),
      by_sql("AForeignUniqueIndexOfTimes", Batch::kLosesRows,
             "CREATE UNIQUE INDEX theirs ON ANNAL_CONN (conn_date, conn_time);"),
      by_sql("NoFurtherIds", Batch::kLosesRows, "UPDATE sqlite_sequence SET seq = 9223372036854775807;"),
      {"LockedWhole", Batch::kThrowsAway, [] { lock.take("BEGIN EXCLUSIVE;"); }, 20000},
      {"LockedByAWriter", Batch::kLosesRows, [] { lock.take("BEGIN IMMEDIATE;"); }, 20000},
  };
  for (const char* column : {"type", "date", "time", "user", "ip", "comp", "res", "serv", "action", "app",
                             "action_result", "client_id", "client_app", "client_agent"}) {
    all.push_back({"Without", Batch::kThrowsAway, [column] {
                     sql(kConnLog, "ALTER TABLE ANNAL_CONN RENAME COLUMN conn_" + std::string(column) + " TO theirs;");
                   }});
  }
  return all;
}

class BatchCheck : public TrustTest, public testing::WithParamInterface<Situation> {
 protected:
  void SetUp() override {
    TrustTest::SetUp();
    ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
    ConnRecord earlier = a_connection<ConnRecord>("/earlier");
    ASSERT_EQ(annal_conn_add2(&earlier), ANNAL_OK);
    GetParam().make();
    Disk::count();
  }
  void TearDown() override {
    lock.release();
    TrustTest::TearDown();
  }

  static bool the_earlier_entry_is_there() {
    lock.release();
    return fs::exists(kConnLog) && read_file(kConnLog).find("/earlier") != std::string::npos;
  }
};

TEST_P(BatchCheck, AcceptsLogsThatABatchCanWrite) {
  EXPECT_EQ(header_example() != 0, GetParam().batch == Batch::kStores);
  EXPECT_GE(Disk::waited(), GetParam().waits * 95 / 100);
  EXPECT_LE(Disk::waited(), GetParam().waits);
}

TEST_P(BatchCheck, ChangesNothing) {
  const bool there = fs::exists(kConnLog);
  const std::string before = there ? read_file(kConnLog) : "";
  (void)header_example();
  lock.release();
  EXPECT_EQ(fs::exists(kConnLog), there);
  EXPECT_TRUE(!there || read_file(kConnLog) == before);
  EXPECT_FALSE(fs::exists(std::string(kConnLog) + "-journal"));
}

// The header for C++ makes the check itself, before one connection too.
TEST_P(BatchCheck, IsMadeByTheHeaderForCpp) {
  const bool there = fs::exists(kConnLog);
  const std::string before = there ? read_file(kConnLog) : "";
  const Result<void> added = conn::add({.user = "o'neil", .resource = "/new"});
  lock.release();
  EXPECT_EQ(added.ok(), GetParam().batch == Batch::kStores) << added.text();
  if (added) {
    EXPECT_TRUE(the_earlier_entry_is_there());
    EXPECT_EQ(value(kConnLog, "SELECT conn_user FROM ANNAL_CONN WHERE conn_res = '/new';"), "o'neil");
  } else {
    EXPECT_EQ(fs::exists(kConnLog), there);
    EXPECT_TRUE(!there || read_file(kConnLog) == before);
  }
}

// Shows what the check prevents: the batch without it.
TEST_P(BatchCheck, PreventsABatchFromLosingTheLog) {
  std::array<ConnRecord, kRecords> records{};
  int inserted = -1;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), kRecords, &inserted), ANNAL_OK);
  switch (GetParam().batch) {
    case Batch::kStores:
      EXPECT_EQ(inserted, kRecords);
      EXPECT_TRUE(the_earlier_entry_is_there());
      break;
    case Batch::kLosesRows:
      EXPECT_LT(inserted, kRecords);
      EXPECT_TRUE(the_earlier_entry_is_there());
      break;
    case Batch::kThrowsAway:
      EXPECT_EQ(inserted, kRecords);
      EXPECT_FALSE(the_earlier_entry_is_there());
      break;
  }
}

INSTANTIATE_TEST_SUITE_P(Trust, BatchCheck, testing::ValuesIn(situations()), [](const auto& situation) {
  return situation.param.name + (situation.param.name == std::string("Without") ? std::to_string(situation.index) : "");
});

}  // namespace
}  // namespace annal::test
