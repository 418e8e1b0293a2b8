// What a program must not do, and the consequences for its logs. Each test shows the decisive moment on the machine's
// own disk; whether entries are then lost or the log is damaged depends on chance.
#include <dlfcn.h>
#include <fcntl.h>
#include <sqlite3.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <functional>
#include <string>

#include "Corix_annal.h"
#include "common/paths.h"
#include "tests/support/forwarding.h"
#include "tests/support/lock_holder.h"
#include "tests/support/log_file.h"
#include "tests/trust/harness/scenarios.h"
#include "tests/trust/harness/shim_vfs.h"
#include "tests/trust/harness/trust_test.h"

namespace annal::test {
namespace {

namespace fs = std::filesystem;

class Misuse : public TrustTest {
 protected:
  void SetUp() override {
    TrustTest::SetUp();
    block_popen(true);
    Disk::stand_in(false);
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
    ASSERT_EQ(add_event(), ANNAL_OK);
  }
  void TearDown() override {
    Disk::stand_in(true);
    TrustTest::TearDown();
  }

  static int add_event() {
    EventRecord event = an_event<EventRecord>("new");
    return annal_event_add_msgid_ex3(&event);
  }

  // Whether another process can lock the bytes that SQLite locks for readers. Does not use SQLite, which would remember
  // this process's locks in the child.
  static bool another_can_lock_it() {
    const pid_t other = fork();
    if (other == 0) {
      constexpr off_t kSharedFirst = 0x40000002;
      constexpr off_t kSharedSize = 510;
      struct flock bytes {};
      bytes.l_type = F_WRLCK;
      bytes.l_whence = SEEK_SET;
      bytes.l_start = kSharedFirst;
      bytes.l_len = kSharedSize;
      _exit(fcntl(open(kEventLog, O_RDWR | O_CLOEXEC), F_SETLK, &bytes) == 0 ? 1 : 0);
    }
    int status = 0;
    waitpid(other, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 1;
  }

  // Runs an action while a call holds its lock, from a listing's callback.
  static int during_a_call(const std::function<void()>& act) {
    return annal_event_query(
        [](void* context, int /*columns*/, char** /*values*/, char** /*names*/) {
          (*static_cast<const std::function<void()>*>(context))();
          return 0;
        },
        0, 0, 0, 0, const_cast<std::function<void()>*>(&act));
  }

  // Restarts SQLite with a setting, as a program sets it before its first use.
  static void configure(const std::function<int()>& setting) {
    ASSERT_EQ(sqlite3_shutdown(), SQLITE_OK);
    ASSERT_EQ(setting(), SQLITE_OK);
    ASSERT_EQ(sqlite3_initialize(), SQLITE_OK);
  }
};

// ---- locks that are lost ----

TEST_F(Misuse, ClosingALogsFileReleasesTheLocksOfAllCalls) {
  EXPECT_EQ(during_a_call([] {
              EXPECT_FALSE(another_can_lock_it());
              close(open(kEventLog, O_RDONLY | O_CLOEXEC));
              EXPECT_TRUE(another_can_lock_it());
            }),
            ANNAL_OK);
}

TEST_F(Misuse, ASecondCopyOfSqliteReleasesTheLocksOfAllCalls) {
  if (kSanitized) {
    GTEST_SKIP() << "a sanitizer knows one copy of the C library";
  }
  survive([] {
    void* const copy = dlmopen(LM_ID_NEWLM, "libsqlite3.so.0", RTLD_NOW | RTLD_LOCAL);
    ASSERT_NE(copy, nullptr) << dlerror();
    const auto open_copy = reinterpret_cast<decltype(&sqlite3_open)>(dlsym(copy, "sqlite3_open"));
    const auto exec_copy = reinterpret_cast<decltype(&sqlite3_exec)>(dlsym(copy, "sqlite3_exec"));
    const auto close_copy = reinterpret_cast<decltype(&sqlite3_close)>(dlsym(copy, "sqlite3_close"));
    EXPECT_EQ(during_a_call([&] {
                EXPECT_FALSE(another_can_lock_it());
                sqlite3* database = nullptr;
                EXPECT_EQ(open_copy(kEventLog, &database), SQLITE_OK);
                EXPECT_EQ(exec_copy(database, "SELECT * FROM ANNAL_EVENT;", nullptr, nullptr, nullptr), SQLITE_OK);
                close_copy(database);
                EXPECT_TRUE(another_can_lock_it());
              }),
              ANNAL_OK);
  });
}

TEST_F(Misuse, AVfsWithoutLocksWritesToALockedLog) {
  sqlite3_vfs* const usual = sqlite3_vfs_find(nullptr);
  sqlite3_vfs* const without_locks = sqlite3_vfs_find("unix-none");
  ASSERT_NE(without_locks, nullptr);
  {
    const LockHolder holder(kEventLog);
    sqlite3_vfs_register(without_locks, 1);
    EXPECT_EQ(add_event(), ANNAL_OK);
    sqlite3_vfs_register(usual, 1);
  }
}

// ---- threads ----

// Runs in its own process, because the setting stays. The caller's other thread reads.
TEST_F(Misuse, ASharedCacheFailsInsteadOfWaiting) {
  survive([] {
    sqlite3_enable_shared_cache(1);
    const auto begun = std::chrono::steady_clock::now();
    EXPECT_EQ(during_a_call([] { EXPECT_EQ(add_event(), ANNAL_INSERT_FAILED); }), ANNAL_OK);
    EXPECT_LT(std::chrono::steady_clock::now() - begun, std::chrono::seconds(10));
  });
}

TEST_F(Misuse, ASingleThreadedSqliteGuardsNothing) {
  survive([] {
    configure([] { return sqlite3_config(SQLITE_CONFIG_SINGLETHREAD); });
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(kEventLog, &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_db_mutex(database), nullptr);
    sqlite3_close(database);
  });
}

// ---- limits and descriptors ----

// The exit status of a process that adds an event while its files may not grow.
int status_of_caller_with_file_size_limit(bool ignores) {
  const pid_t caller = fork();
  if (caller == 0) {
    std::signal(SIGXFSZ, ignores ? SIG_IGN : SIG_DFL);
    const rlimit limit{512, 512};
    const rlimit no_core{0, 0};
    setrlimit(RLIMIT_CORE, &no_core);
    setrlimit(RLIMIT_FSIZE, &limit);
    EventRecord event = an_event<EventRecord>("new");
    _exit(annal_event_add_msgid_ex3(&event) == ANNAL_INSERT_FAILED ? 1 : 0);
  }
  int status = 0;
  waitpid(caller, &status, 0);
  return status;
}

TEST_F(Misuse, AFileSizeLimitKillsACallerThatDoesNotIgnoreItsSignal) {
  const int killed = status_of_caller_with_file_size_limit(false);
  EXPECT_TRUE(WIFSIGNALED(killed) && WTERMSIG(killed) == SIGXFSZ) << killed;
  const int answered = status_of_caller_with_file_size_limit(true);
  EXPECT_TRUE(WIFEXITED(answered) && WEXITSTATUS(answered) == 1) << answered;
  EXPECT_EQ(value(kEventLog, "SELECT COUNT(*) FROM ANNAL_EVENT;"), "1");
}

TEST_F(Misuse, ACallerWithClosedStreamsGetsThemOpenedOnTheNullDevice) {
  survive([] {
    for (const int descriptor : {0, 1, 2}) {
      close(descriptor);
    }
    const int count = annal_event_query_count(0);
    bool null = true;
    for (const int descriptor : {0, 1, 2}) {
      std::error_code none;
      null = null && fs::read_symlink("/proc/self/fd/" + std::to_string(descriptor), none) == "/dev/null";
    }
    if (count != 1 || !null) {
      _exit(1);
    }
  });
}

// ---- paths ----

constexpr const char* kUri = "file:/etc/logs/named.log?mode=rwc";

TEST_F(Misuse, APathThatBeginsAsAUriIsOneIfSqliteIsConfiguredSo) {
  survive([] {
    configure([] { return sqlite3_config(SQLITE_CONFIG_URI, 0); });
    EXPECT_EQ(pavo2log_event_create_tbl(kUri, 0, 0), ANNAL_OPEN_FAILED);
    EXPECT_FALSE(fs::exists("/etc/logs/named.log"));
  });
  survive([] {
    configure([] { return sqlite3_config(SQLITE_CONFIG_URI, 1); });
    EXPECT_EQ(pavo2log_event_create_tbl(kUri, 0, 0), ANNAL_OK);
    EXPECT_TRUE(fs::exists("/etc/logs/named.log"));
    EXPECT_EQ(pavo2log_event_create_tbl("/etc/logs/a?mode=memory", 0, 0), ANNAL_OK);
    EXPECT_TRUE(fs::exists("/etc/logs/a?mode=memory"));
  });
}

// ---- a creation that is killed ----

// Kills it before each lock; it releases the lock between table and trigger.
TEST_F(Misuse, AKilledCreationCanLeaveATableWithoutItsLimit) {
  Disk::stand_in(true);
  int without_limit = 0;
  bool killed = true;
  for (int nth = 1; killed; ++nth) {
    fs::remove(kEventLog);
    const pid_t creator = fork();
    if (creator == 0) {
      Disk::before_lock(nth, [] { _exit(1); });
      _exit(annal_event_create_tbl(0, 0) == ANNAL_OK ? 0 : 2);
    }
    int status = 0;
    waitpid(creator, &status, 0);
    killed = WIFEXITED(status) && WEXITSTATUS(status) == 1;
    const std::string objects = value(kEventLog,
                                      "SELECT group_concat(type, ' ') FROM sqlite_master WHERE name IN ('ANNAL_EVENT', "
                                      "'annal_event_logfull');");
    if (objects == "table") {
      ++without_limit;
      EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_TABLE_FAILED);
      EXPECT_EQ(annal_event_add_trigger_logfull(0, 0), ANNAL_OK);
    }
  }
  EXPECT_GE(without_limit, 1);
}

}  // namespace
}  // namespace annal::test
