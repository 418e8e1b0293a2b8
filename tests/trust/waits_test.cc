// Checks the header's statements about waits for locks. Waits are counted, not waited.
#include <sqlite3.h>

#include <array>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "common/paths.h"
#include "tests/support/log_file.h"
#include "tests/trust/harness/scenarios.h"
#include "tests/trust/harness/shim_vfs.h"
#include "tests/trust/harness/trust_test.h"

namespace annal::test {
namespace {

constexpr const char* kWhole = "BEGIN EXCLUSIVE;";
constexpr const char* kForWriting = "BEGIN IMMEDIATE;";
constexpr const char* kForReading = "BEGIN; SELECT COUNT(*) FROM sqlite_master;";

// Another program that uses a log.
class OtherProgram {
 public:
  explicit OtherProgram(const char* path) : path_(path) {}
  ~OtherProgram() { let_go(); }
  OtherProgram(const OtherProgram&) = delete;
  OtherProgram& operator=(const OtherProgram&) = delete;

  void take(const char* statement) {
    let_go();
    EXPECT_EQ(sqlite3_open(path_, &handle_), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(handle_, statement, nullptr, nullptr, nullptr), SQLITE_OK) << statement;
  }
  void let_go() {
    sqlite3_close(handle_);
    handle_ = nullptr;
  }

 private:
  const char* path_;
  sqlite3* handle_ = nullptr;
};

void expect_about(long waited, long expected) {
  EXPECT_GE(waited, expected - 100);
  EXPECT_LE(waited, expected + 100);
}

class Waits : public TrustTest {
 protected:
  void SetUp() override {
    TrustTest::SetUp();
    block_popen(true);
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
    ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
    ASSERT_EQ(pavo2log_event_create_tbl(kFileOpLog, 0, 0), ANNAL_OK);
    Disk::count();
  }

  static int add_event() {
    const EventRecord event = an_event<EventRecord>("new");
    EventRecord copy = event;
    return annal_event_add_msgid_ex3(&copy);
  }
  static std::int64_t add_file_operation() {
    FileOpRecord record = a_file_operation("/new");
    return pavo2log_event_add(kFileOpLog, &record);
  }
};

// ---- 20 s, for each lock ----

TEST_F(Waits, AnInsertWaitsTwentySecondsForOneLock) {
  for (const char* lock : {kWhole, kForWriting, kForReading}) {
    OtherProgram holder(kEventLog);
    holder.take(lock);
    Disk::count();
    EXPECT_EQ(add_event(), ANNAL_INSERT_FAILED);
    expect_about(Disk::waited(), 20000);
  }
}

// A writer releases its lock after 14 s, and a reader takes one: 34 s in all.
TEST_F(Waits, AnInsertThatMeetsTwoLocksWaitsForEach) {
  OtherProgram holder(kEventLog);
  holder.take(kWhole);
  Disk::meanwhile(14000, [&] { holder.take(kForReading); });
  EXPECT_EQ(add_event(), ANNAL_INSERT_FAILED);
  expect_about(Disk::waited(), 34000);
  holder.let_go();
  EXPECT_EQ(value(kEventLog, "SELECT COUNT(*) FROM ANNAL_EVENT;"), "0");
}

TEST_F(Waits, AnInsertThatMeetsThreeLocksWaitsAtMostFortySeconds) {
  OtherProgram holder(kEventLog);
  holder.take(kWhole);
  Disk::meanwhile(19000, [&] {
    holder.take(kForWriting);
    Disk::meanwhile(38000, [&] { holder.take(kForReading); });
  });
  EXPECT_EQ(add_event(), ANNAL_INSERT_FAILED);
  expect_about(Disk::waited(), 39000);
}

// ---- a batch ----

TEST_F(Waits, ABatchBesideAWriterWaitsTwentySecondsForEachRecord) {
  constexpr int kRecords = 3;
  OtherProgram holder(kConnLog);
  holder.take(kForWriting);
  std::array<ConnRecord, kRecords> records{};
  int inserted = -1;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), kRecords, &inserted), ANNAL_OK);
  EXPECT_EQ(inserted, 0);
  expect_about(Disk::waited(), kRecords * 20000L);
  EXPECT_EQ(PlatformRecorder::calls_of("SendConnToZSyslogd").size(), 3U);
}

// Once one record gets the lock, the later ones do not wait.
TEST_F(Waits, ABatchWaitsOnceForAWriterThatFinishes) {
  constexpr int kRecords = 3;
  OtherProgram holder(kConnLog);
  holder.take(kForWriting);
  Disk::meanwhile(25000, [&] { holder.let_go(); });
  std::array<ConnRecord, kRecords> records{};
  int inserted = -1;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), kRecords, &inserted), ANNAL_OK);
  EXPECT_EQ(inserted, kRecords - 1);
  expect_about(Disk::waited(), 25000);
}

// Waits twice 20 s and then deletes the log under the program that has locked it.
TEST_F(Waits, ABatchWaitsFortySecondsForALogLockedAsAWhole) {
  OtherProgram holder(kConnLog);
  holder.take(kWhole);
  std::array<ConnRecord, 1> records{};
  int inserted = -1;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), 1, &inserted), ANNAL_OK);
  EXPECT_EQ(inserted, 1);
  expect_about(Disk::waited(), 40000);
}

// ---- file operations ----

TEST_F(Waits, AFileOperationWaitsFiveSecondsForOneLockAndTenForTwo) {
  OtherProgram holder(kFileOpLog);
  holder.take(kForReading);
  EXPECT_EQ(add_file_operation(), ANNAL_INSERT_FAILED);
  expect_about(Disk::waited(), 5000);
  Disk::count();
  holder.take(kWhole);
  Disk::meanwhile(4900, [&] { holder.take(kForReading); });
  EXPECT_EQ(add_file_operation(), ANNAL_INSERT_FAILED);
  expect_about(Disk::waited(), 9900);
}

// No one holds the lock for more than 0.1 s, but every retry finds it taken.
TEST_F(Waits, AFileOperationCanFailUnderContention) {
  OtherProgram one(kFileOpLog);
  OtherProgram other(kFileOpLog);
  one.take(kForWriting);
  bool turn = false;
  std::function<void()> change = [&] {
    (turn ? other : one).let_go();
    turn = !turn;
    (turn ? other : one).take(kForWriting);
    Disk::meanwhile(Disk::waited() + 1, change);
  };
  Disk::meanwhile(1, change);
  EXPECT_EQ(add_file_operation(), ANNAL_INSERT_FAILED);
  expect_about(Disk::waited(), 5000);
}

}  // namespace
}  // namespace annal::test
