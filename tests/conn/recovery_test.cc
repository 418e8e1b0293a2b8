// A batch that cannot begin tries once more and then deletes and recreates the log.
#include <grp.h>
#include <linux/capability.h>
#include <sqlite3.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <memory>
#include <string>

#include "Corix_annal.h"
#include "tests/conn/conn_log.h"
#include "tests/support/forwarding.h"
#include "tests/support/from_library.h"
#include "tests/support/rights.h"

namespace {

std::function<void(const char* name)> at_link;  // runs before each link call

}  // namespace

// Replaces the C library's.
extern "C" int link(const char* from, const char* to) noexcept {
  if (at_link) {
    at_link(from);
  }
  return reinterpret_cast<int (*)(const char*, const char*)>(annal::test::next_function("link"))(from, to);
}

namespace annal::test {
namespace {

using namespace std::chrono_literals;
namespace fs = std::filesystem;

constexpr int kAttempts = 7;

// A log with one old entry.
class ConnRecovery : public ConnLogTest {
 protected:
  void SetUp() override {
    ConnLogTest::SetUp();
    sql(kLog, kTested.entry);
    sqlite.reset();
  }

  // A batch of two empty records, which are changed only if they are stored.
  static void expect_answer(int result, int count) {
    std::array records{empty_record(), empty_record()};
    int inserted = kNobody;
    EXPECT_EQ(annal_conn_add_entries2(records.data(), 2, &inserted), result);
    EXPECT_EQ(inserted, count);
    if (result == ANNAL_OK) {
      EXPECT_EQ(consumer_calls().size(), 2U);
    } else {
      EXPECT_EQ(PlatformRecorder::calls(), Calls());
      EXPECT_TRUE(same_bytes(records[0], empty_record()));
      EXPECT_TRUE(same_bytes(records[1], empty_record()));
    }
  }

  // Either the old entry is still there, or the log was recreated: with the table, its indexes and the default limits,
  // but without the entry.
  static void expect_same_log() { EXPECT_EQ(value(kLog, "SELECT MIN(conn_id) FROM ANNAL_CONN;"), "7"); }
  static void expect_new_log(const std::string& entries) {
    EXPECT_EQ(value(kLog, "SELECT COUNT(*) || ' ' || coalesce(MIN(conn_id), 'none') FROM ANNAL_CONN;"), entries);
    EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM sqlite_master WHERE name LIKE 'idx_conn_%';"), "11");
    const std::string trigger = value(kLog, "SELECT sql FROM sqlite_master WHERE type = 'trigger';");
    EXPECT_NE(trigger.find("WHEN 10000 <"), std::string::npos) << trigger;
    EXPECT_NE(trigger.find("LIMIT 1);"), std::string::npos) << trigger;
  }
};

// ---- what is asked of SQLite ----

Calls unprepared() {
  return connection(kLog, {std::string("prepare ") + kBatchInsert}, true);
}

Calls not_begun() {
  return connection(kLog, {std::string("prepare ") + kBatchInsert, "exec BEGIN TRANSACTION;", "finalize"}, true);
}

Calls complete() {
  return connection(
      kLog, {std::string("prepare ") + kBatchInsert, "exec BEGIN TRANSACTION;", "exec END TRANSACTION", "finalize"},
      true);
}

// The SQLite calls that create a missing log.
Calls creation() {
  const fs::path kept = "/etc/logs/kept";
  std::error_code none;
  fs::rename(kLog, kept, none);
  SqliteTrace::reset();
  EXPECT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
  Calls calls = SqliteTrace::calls();
  SqliteTrace::reset();
  fs::remove(kLog);
  fs::rename(kept, kLog, none);
  return calls;
}

// The calls of N attempts that fail the same way, each from the third on after recreating the log, and of one that
// succeeds.
Calls attempts(int failures, const Calls& failed, const Calls& created) {
  Calls all;
  for (int attempt = 1; attempt <= failures + 1 && attempt <= kAttempts; ++attempt) {
    if (attempt > 2) {
      append(all, created);
    }
    append(all, attempt <= failures ? failed : complete());
  }
  return all;
}

struct Fault {
  const char* name;
  const char* call;
  Calls (*failed)();
};

constexpr Fault kFaults[] = {
    {"Prepared", "prepare ", unprepared},
    {"Begun", "exec BEGIN TRANSACTION;", not_begun},
};

// ---- faults ----

class ConnRecoveryAfterFaults : public ConnRecovery, public testing::WithParamInterface<std::tuple<Fault, int>> {};
INSTANTIATE_TEST_SUITE_P(, ConnRecoveryAfterFaults,
                         testing::Combine(testing::ValuesIn(kFaults), testing::Range(0, kAttempts + 1)),
                         [](const testing::TestParamInfo<std::tuple<Fault, int>>& tested) {
                           return std::get<0>(tested.param).name + std::to_string(std::get<1>(tested.param)) + "Times";
                         });

TEST_P(ConnRecoveryAfterFaults, KeepsTheLogOnceAndRecreatesItBeforeEachFurtherAttempt) {
  const auto& [fault, failures] = GetParam();
  const Calls created = creation();
  sqlite.fail_first(failures, fault.call);
  if (failures < kAttempts) {
    expect_answer(ANNAL_OK, 2);
  } else {
    expect_answer(ANNAL_BATCH_FAILED, 0);
  }
  EXPECT_EQ(sqlite.calls(), attempts(failures, fault.failed(), created));
  if (failures < 2) {
    expect_same_log();
    EXPECT_EQ(stored_count(), "3");
  } else {
    expect_new_log(failures < kAttempts ? "2 1" : "0 none");
  }
}

TEST_P(ConnRecoveryAfterFaults, IsTheSameForNoRecordsAndForTheEarlierForm) {
  const auto& [fault, failures] = GetParam();
  const ConnRecordV1 record = earlier_form(complete_record());
  for (const int count : {0, 1}) {
    sqlite.fail_first(failures, fault.call);
    int inserted = kNobody;
    EXPECT_EQ(annal_conn_add_entries(&record, count, &inserted), failures < kAttempts ? ANNAL_OK : ANNAL_BATCH_FAILED);
    EXPECT_EQ(inserted, failures < kAttempts ? count : 0);
  }
}

TEST_F(ConnRecovery, CountsFaultsOfBothKinds) {
  Calls expected = unprepared();
  append(expected, not_begun());
  append(expected, creation());
  append(expected, complete());
  sqlite.fail_first(1, "prepare ");
  sqlite.fail_first(1, "exec BEGIN TRANSACTION;");
  expect_answer(ANNAL_OK, 2);
  EXPECT_EQ(sqlite.calls(), expected);
  expect_new_log("2 1");
}

// Each attempt opens the file, and each new log opens it for the table and again for the trigger.
struct OpenCall {
  int nth;
  int attempt;  // the attempt that it belongs to
};

TEST_F(ConnRecovery, EndsWithAnAttemptThatCannotOpenTheFile) {
  constexpr OpenCall kOpenings[] = {{1, 1}, {2, 2}, {5, 3}, {8, 4}, {11, 5}, {14, 6}, {17, 7}};
  for (const auto& [nth, attempt] : kOpenings) {
    sqlite.reset();
    sqlite.fail_first(attempt - 1, "prepare ");
    sqlite.fail("open", nth);
    expect_answer(ANNAL_OPEN_FAILED, 0);
    EXPECT_EQ(std::count(sqlite.calls().begin(), sqlite.calls().end(), "prepare " + std::string(kBatchInsert)),
              attempt - 1);
    EXPECT_EQ(sqlite.calls().back(), "close");
  }
}

// Only the next attempt fails because of it.
TEST_F(ConnRecovery, ContinuesAfterAFailedCreation) {
  Calls expected = unprepared();
  append(expected, unprepared());
  append(expected, connection(kLog, {}, false));
  append(expected, unprepared());
  append(expected, creation());
  append(expected, complete());
  sqlite.fail_first(2, "prepare ");
  sqlite.fail("open", 3);
  expect_answer(ANNAL_OK, 2);
  EXPECT_EQ(sqlite.calls(), expected);
  expect_new_log("2 1");
}

TEST_F(ConnRecovery, StoresIntoANewLogThatHasNoTrigger) {
  sqlite.fail_first(2, "prepare ");
  sqlite.fail_first(1, "exec CREATE TRIGGER");
  expect_answer(ANNAL_OK, 2);
  EXPECT_EQ(stored_count(), "2");
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM sqlite_master WHERE type = 'trigger';"), "0");
}

// ---- files ----

// Things in a log's place.
struct BrokenLog {
  const char* name;
  void (*make)();
};

constexpr BrokenLog kBroken[] = {
    {"NoDatabase", [] { put_garbage(kLog); }},
    {"CutOff", [] { fs::resize_file(kLog, 1000); }},
    {"Empty", [] { fs::resize_file(kLog, 0); }},
    {"Missing", [] { fs::remove(kLog); }},
    {"WithoutTheTable", [] { sql(kLog, "DROP TABLE ANNAL_CONN; CREATE TABLE other (x);"); }},
    {"OfAnEarlierRelease", [] { sql(kLog, "ALTER TABLE ANNAL_CONN DROP COLUMN conn_client_agent;"); }},
};

class ConnRecoveryOfAFile : public ConnRecovery, public testing::WithParamInterface<BrokenLog> {};
INSTANTIATE_TEST_SUITE_P(, ConnRecoveryOfAFile, testing::ValuesIn(kBroken), name_in<BrokenLog>);

TEST_P(ConnRecoveryOfAFile, RecreatesItAfterTwoAttempts) {
  const Calls expected = attempts(2, unprepared(), creation());
  GetParam().make();
  expect_answer(ANNAL_OK, 2);
  EXPECT_EQ(sqlite.calls(), expected);
  expect_new_log("2 1");
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM sqlite_master WHERE name = 'other';"), "0");
}

TEST_F(ConnRecovery, LeavesALogThatCannotBeOpenedAlone) {
  fs::remove(kLog);
  fs::create_symlink("/etc/logs/missing/conn.log", kLog);
  expect_answer(ANNAL_OPEN_FAILED, 0);
  EXPECT_TRUE(fs::is_symlink(kLog));
  fs::remove(kLog);
  fs::create_directory(kLog);
  expect_answer(ANNAL_OPEN_FAILED, 0);
  EXPECT_TRUE(fs::is_directory(kLog));
  fs::remove(kLog);
  remove_log_folder();
  sqlite.reset();
  expect_answer(ANNAL_OPEN_FAILED, 0);
  EXPECT_EQ(sqlite.calls(), connection(kLog, {}, false));
}

// A batch that can begin needs no recovery.
TEST_F(ConnRecovery, KeepsALogThatRefusesEveryRow) {
  sql(kLog, "CREATE TRIGGER refuse BEFORE INSERT ON ANNAL_CONN BEGIN SELECT RAISE(ABORT, 'no'); END;");
  expect_answer(ANNAL_OK, 0);
  EXPECT_EQ(sqlite.calls(), complete());
  expect_same_log();
}

TEST_F(ConnRecovery, KeepsALogThatCannotBeCommitted) {
  sqlite.fail("exec", 2);
  std::array records{empty_record()};
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), 1, &inserted), ANNAL_INSERT_FAILED);
  EXPECT_EQ(sqlite.calls(), complete());
  expect_same_log();
  EXPECT_EQ(stored_count(), "1");
}

// ---- rights ----

class ConnRecoveryWithRights : public ConnRecovery {
 protected:
  void SetUp() override {
    ConnRecovery::SetUp();
    put_garbage(kLog);
  }
  void TearDown() override {
    at_link = nullptr;
    ConnRecovery::TearDown();
  }

  static std::size_t files_in_folder() {
    return static_cast<std::size_t>(std::distance(fs::directory_iterator("/etc/logs"), {}));
  }
};

TEST_F(ConnRecoveryWithRights, KeepsTheOldLogsRights) {
  const std::size_t files = files_in_folder();
  for (const Rights& rights : unusual_rights()) {
    put_garbage(kLog);
    give_rights(kLog, rights);
    PlatformRecorder::reset();
    expect_answer(ANNAL_OK, 2);
    expect_new_log("2 1");
    EXPECT_EQ(rights_of(kLog), rights);
    EXPECT_EQ(files_in_folder(), files);
  }
}

// A log that its owner cannot write is useless.
TEST_F(ConnRecoveryWithRights, LetsTheOwnerReadAndWrite) {
  give_rights(kLog, {0444});
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can read and write such a log";
  }
  expect_answer(ANNAL_OK, 2);
  EXPECT_EQ(rights_of(kLog), Rights{0644});
}

TEST_F(ConnRecoveryWithRights, CreatesAMissingLogUnderTheUmask) {
  fs::remove(kLog);
  const mode_t before = umask(026);
  expect_answer(ANNAL_OK, 2);
  umask(before);
  EXPECT_EQ(rights_of(kLog).mode, 0640U);
}

// No one can open it before it has its rights. The process closes it before it gets its name, because closing it later
// would release other threads' locks.
TEST_F(ConnRecoveryWithRights, LinksTheNewLogWhenItIsReady) {
  const Rights rights{0640};
  give_rights(kLog, rights);
  int links = 0;
  at_link = [&](const char* name) {
    ++links;
    EXPECT_EQ(rights_of(name), rights);
    EXPECT_FALSE(exists(kLog));
    for (const auto& descriptor : fs::directory_iterator("/proc/self/fd")) {
      std::error_code gone;
      EXPECT_NE(fs::read_symlink(descriptor, gone), fs::canonical(name));
    }
  };
  expect_answer(ANNAL_OK, 2);
  EXPECT_EQ(links, 1);
}

TEST_F(ConnRecoveryWithRights, KeepsALogThatAnotherProcessHasCreatedMeanwhile) {
  at_link = [](const char* /*name*/) {
    at_link = nullptr;
    sql(kLog, "CREATE TABLE other (x);");
  };
  const std::size_t files = files_in_folder();
  expect_answer(ANNAL_OK, 2);
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM sqlite_master WHERE name = 'other';"), "1");
  EXPECT_EQ(files_in_folder(), files);
}

// Without the capability to override permissions, the process could not write a log that belongs to someone else.
TEST_F(ConnRecoveryWithRights, KeepsNoOwnerThatWouldLockItOut) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give a log to somebody else";
  }
  give_rights(kLog, {0644, 33, 33});
  const std::size_t files = files_in_folder();
  survive([] {
    ASSERT_EQ(prctl(PR_CAPBSET_DROP, CAP_DAC_OVERRIDE), 0);
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct data[2]{};
    ASSERT_EQ(syscall(SYS_capget, &header, data), 0);
    data[0].effective &= ~(1U << CAP_DAC_OVERRIDE);
    ASSERT_EQ(syscall(SYS_capset, &header, data), 0);
    expect_answer(ANNAL_OK, 2);
  });
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM ANNAL_CONN;"), "2");
  EXPECT_EQ(files_in_folder(), files);
}

// With an access list, the mode's group bits are the list's mask.
TEST_F(ConnRecoveryWithRights, KeepsTheAccessList) {
  // Version 2; the owner rw, user 33 rw, the group nothing, the mask rw, others nothing.
  const unsigned char list[] = {2, 0,  0,   0,   1,   0,   6,  0, 255, 255, 255, 255, 2,   0,  6,
                                0, 33, 0,   0,   0,   4,   0,  0, 0,   255, 255, 255, 255, 16, 0,
                                6, 0,  255, 255, 255, 255, 32, 0, 0,   0,   255, 255, 255, 255};
  give_rights(kLog, {0600});
  if (setxattr(kLog, "system.posix_acl_access", list, sizeof list, 0) != 0) {
    GTEST_SKIP() << "no access lists here: " << std::strerror(errno);
  }
  expect_answer(ANNAL_OK, 2);
  unsigned char kept[sizeof list + 1] = {};
  ASSERT_EQ(getxattr(kLog, "system.posix_acl_access", kept, sizeof kept), static_cast<ssize_t>(sizeof list));
  EXPECT_EQ(std::memcmp(kept, list, sizeof list), 0);
}

// A process that cannot keep owner and group gives the new group only the others' rights.
TEST_F(ConnRecoveryWithRights, GrantsNoMoreRightsIfTheGroupCannotBeKept) {
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can become somebody else";
  }
  give_rights(kLog, {0664, 1234, 5678});
  fs::permissions("/etc/logs", fs::perms::all);
  survive([] {
    ASSERT_EQ(setgroups(0, nullptr), 0);
    ASSERT_EQ(setresgid(4321, 4321, 4321), 0);
    ASSERT_EQ(setresuid(4321, 4321, 4321), 0);
    expect_answer(ANNAL_OK, 2);
    EXPECT_EQ(rights_of(kLog), (Rights{0644, 4321, 4321}));
  });
}

// ---- permissions ----

// A user without root's rights.
void become_ordinary_user_in(fs::perms permissions) {
  fs::permissions("/etc/logs", permissions);
  if (geteuid() == 0) {
    const uid_t nobody = 0x40000000U;
    ASSERT_EQ(setresuid(nobody, nobody, nobody), 0);
  }
}

constexpr fs::perms kUnwritable = fs::perms::owner_read | fs::perms::owner_exec | fs::perms::group_read |
                                  fs::perms::group_exec | fs::perms::others_read | fs::perms::others_exec;

TEST_F(ConnRecovery, CannotCreateALogInAnUnwritableFolder) {
  fs::remove(kLog);
  survive([this] {
    become_ordinary_user_in(kUnwritable);
    expect_answer(ANNAL_OPEN_FAILED, 0);
    EXPECT_EQ(sqlite.calls(), connection(kLog, {}, false));
  });
  fs::permissions("/etc/logs", fs::perms::owner_all);
  EXPECT_FALSE(exists(kLog));
}

// It still tries, and leaves what it cannot delete.
TEST_F(ConnRecovery, GivesUpOnABrokenLogInAnUnwritableFolder) {
  put_garbage(kLog);
  fs::permissions(kLog, fs::perms::all);
  const std::string create = creation().at(2);
  Calls expected = unprepared();
  append(expected, unprepared());
  for (int attempt = 3; attempt <= kAttempts; ++attempt) {
    append(expected, connection(kLog, {create}, true));
    append(expected, unprepared());
  }
  survive([&] {
    become_ordinary_user_in(kUnwritable);
    expect_answer(ANNAL_BATCH_FAILED, 0);
    EXPECT_EQ(sqlite.calls(), expected);
  });
  fs::permissions("/etc/logs", fs::perms::owner_all);
  std::ifstream file(kLog);
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), std::string(4096, 'x'));
}

// ---- locks ----

ino_t file_number() {
  struct stat file {};
  EXPECT_EQ(stat(kLog, &file), 0);
  return file.st_ino;
}

TEST_F(ConnRecovery, WaitsForALockAndKeepsTheLog) {
  const ino_t before = file_number();
  const LockHolder lock(kLog, 300ms);
  expect_answer(ANNAL_OK, 2);
  EXPECT_EQ(sqlite.calls(), complete());
  EXPECT_EQ(file_number(), before);
  expect_same_log();
  EXPECT_EQ(stored_count(), "3");
}

TEST_F(ConnRecovery, WaitsForALockTwiceAndKeepsTheLog) {
  const ino_t before = file_number();
  Calls expected = unprepared();
  append(expected, complete());
  sqlite.shorten_waits(1000);
  const LockHolder lock(kLog, 1500ms);
  expect_answer(ANNAL_OK, 2);
  EXPECT_EQ(sqlite.calls(), expected);
  EXPECT_EQ(file_number(), before);
  expect_same_log();
}

// The lock's owner keeps a file that no one else can see any more.
TEST_F(ConnRecovery, DeletesALogThatStaysLocked) {
  const Calls expected = attempts(2, unprepared(), creation());
  const fs::path held = "/etc/logs/held";
  fs::create_hard_link(kLog, held);
  const LockHolder lock(held.c_str());
  sqlite.shorten_waits(100);
  expect_answer(ANNAL_OK, 2);
  EXPECT_EQ(sqlite.calls(), expected);
  EXPECT_FALSE(fs::equivalent(kLog, held));
  expect_new_log("2 1");
}

class Connection {
 public:
  Connection() { EXPECT_EQ(sqlite3_open(kLog, &handle_), SQLITE_OK); }
  ~Connection() { sqlite3_close(handle_); }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;

  void run(const char* statement) {
    EXPECT_EQ(sqlite3_exec(handle_, statement, nullptr, nullptr, nullptr), SQLITE_OK) << statement;
  }

 private:
  sqlite3* handle_ = nullptr;
};

// A writer that lets others read does not stop the batch from beginning: the rows fail, one by one.
TEST_F(ConnRecovery, KeepsALogThatAnotherProcessWrites) {
  Connection writer;
  writer.run("BEGIN IMMEDIATE;");
  sqlite.shorten_waits(20);
  expect_answer(ANNAL_OK, 0);
  EXPECT_EQ(sqlite.calls(), complete());
  writer.run("ROLLBACK;");
  expect_same_log();
  EXPECT_EQ(stored_count(), "1");
}

TEST_F(ConnRecovery, ReportsACommitThatAReaderPrevents) {
  Connection reader;
  reader.run("BEGIN; SELECT * FROM ANNAL_CONN;");
  sqlite.shorten_waits(20);
  std::array records{complete_record(), complete_record()};
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), 2, &inserted), ANNAL_INSERT_FAILED);
  EXPECT_EQ(inserted, 2);
  EXPECT_EQ(consumer_calls().size(), 2U);
  reader.run("COMMIT;");
  EXPECT_EQ(stored_count(), "1");
  expect_same_log();
}

}  // namespace
}  // namespace annal::test
