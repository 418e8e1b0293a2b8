// Tests of the test support itself.
#include "tests/support/appliance.h"

#include <fcntl.h>
#include <gtest/gtest-spi.h>
#include <spawn.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "Corix_annal.h"
#include "appliance/namespace.h"
#include "tests/support/forwarding.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLog = "/etc/logs/event.log";

class Appliance : public ApplianceTest {};

TEST_F(Appliance, GivesEveryTestEmptyWritableFolders) {
  for (const char* folder : {"/etc/logs", "/usr/local/sbin/", "/sbin/"}) {
    std::ofstream(std::string(folder) + "/left-behind") << "x";
    EXPECT_TRUE(exists((std::string(folder) + "/left-behind").c_str()));
  }
  ApplianceTest::SetUp();
  EXPECT_TRUE(std::filesystem::is_empty("/etc/logs"));
  EXPECT_TRUE(std::filesystem::is_empty("/sbin/"));
  EXPECT_FALSE(exists("/usr/local/sbin/left-behind"));
}

TEST_F(Appliance, ShowsTheMachinesConfiguration) {
  EXPECT_TRUE(std::filesystem::is_regular_file("/etc/passwd"));
  EXPECT_TRUE(std::filesystem::exists("/etc/os-release"));
}

// Root could write through the links in /etc.
TEST_F(Appliance, MakesTheMachinesConfigurationReadOnly) {
  int links = 0;
  for (const std::filesystem::directory_entry& entry : std::filesystem::directory_iterator("/etc")) {
    const std::string path = entry.path();
    struct statvfs file {};
    if (entry.is_symlink() && std::filesystem::read_symlink(path).string().starts_with(".machine/") &&
        statvfs(path.c_str(), &file) == 0) {
      ++links;
      EXPECT_NE(file.f_flag & ST_RDONLY, 0U) << path;
    }
  }
  EXPECT_GT(links, 10);
  EXPECT_EQ(open("/etc/passwd", O_WRONLY | O_APPEND | O_CLOEXEC), -1);
  EXPECT_EQ(open("/etc/.machine/left-behind", O_WRONLY | O_CREAT | O_CLOEXEC, 0600), -1);
  EXPECT_EQ(errno, EROFS);
}

TEST_F(Appliance, RemovesFoldersThatAnOrdinaryUserMayNotEnter) {
  // An ordinary user owns the whole appliance.
  constexpr uid_t kUser = 65534;
  const bool root = geteuid() == 0;
  const auto give_to = [root](uid_t user) {
    for (const char* folder : {"/etc", "/etc/logs", "/usr/local/sbin", "/sbin/"}) {
      ASSERT_TRUE(!root || chown(folder, user, static_cast<gid_t>(-1)) == 0) << folder;
    }
  };
  give_to(kUser);
  ASSERT_TRUE(!root || seteuid(kUser) == 0);
  for (const std::string folder : {"/etc/logs", "/usr/local/sbin", "/sbin"}) {
    std::filesystem::create_directories(folder + "/locked/below");
    std::filesystem::permissions(folder + "/locked", std::filesystem::perms::none);
  }
  std::filesystem::permissions("/etc/logs", std::filesystem::perms::none);
  EXPECT_NO_THROW(ApplianceTest::SetUp());
  ASSERT_TRUE(!root || seteuid(0) == 0);
  give_to(0);
  for (const char* locked : {"/etc/logs/locked", "/usr/local/sbin/locked", "/sbin/locked"}) {
    EXPECT_FALSE(exists(locked)) << locked;
  }
}

TEST_F(Appliance, IsInvisibleOutside) {
  std::ofstream("/etc/logs/secret") << "x";
  // This process's parent is its supervisor, outside the namespace.
  const std::string outside = "/proc/" + std::to_string(getppid()) + "/root/etc/logs/secret";
  EXPECT_FALSE(exists(outside.c_str()));
}

TEST_F(Appliance, KillsProcessesThatATestLeavesRunning) {
  ASSERT_EQ(std::system("sleep 60 & sleep 60 &"), 0);
  EXPECT_EQ(appliance::strays().size(), 2U);
  ApplianceTest::TearDown();
  EXPECT_TRUE(appliance::strays().empty());
}

// A program under another supervisor, on the same appliance.
class SupervisedProgram : public Appliance {
 protected:
  static pid_t start(const char* script) {
    const pid_t process = fork();
    if (process == 0) {
      setpgid(0, 0);
      // A shell that starts with the interrupt ignored, as a job in the background, cannot trap it.
      static_cast<void>(std::signal(SIGINT, SIG_DFL));
      char shell[] = "/bin/sh";
      char option[] = "-c";
      std::string text = script;
      char* const argv[] = {shell, option, text.data(), nullptr};
      _exit(appliance::run_supervised_on_private_appliance(shell, const_cast<char**>(argv)));
    }
    return process;
  }

  // The exit status, or the negated number of the signal that killed the process.
  static int status_of(pid_t process) {
    int status = 0;
    EXPECT_EQ(waitpid(process, &status, 0), process);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  template <typename Condition>
  static bool becomes_true(const Condition& condition) {
    const auto give_up = std::chrono::steady_clock::now() + 20s;
    while (!condition() && std::chrono::steady_clock::now() < give_up) {
      std::this_thread::sleep_for(1ms);
    }
    return condition();
  }

  static bool is_ready() { return exists("/etc/logs/ready"); }
};

TEST_F(SupervisedProgram, LeavesNoProcessBehind) {
  EXPECT_EQ(status_of(start("sleep 60 & setsid -f sleep 60; (setsid sh -c 'sleep 60 & sleep 60' &) ; exit 7")), 7);
  EXPECT_TRUE(appliance::strays().empty());
}

TEST_F(SupervisedProgram, DiesWithItsDescendantsIfItsStarterIsKilled) {
  const pid_t process = start("setsid -f sleep 60; sleep 60 & : > /etc/logs/ready; wait");
  ASSERT_TRUE(becomes_true(is_ready));
  kill(process, SIGKILL);
  EXPECT_EQ(status_of(process), -SIGKILL);
  EXPECT_TRUE(becomes_true([] { return appliance::strays().empty(); }));
}

TEST_F(SupervisedProgram, GetsItsStartersSignals) {
  const pid_t process = start("trap 'exit 7' TERM; sleep 60 & : > /etc/logs/ready; wait");
  ASSERT_TRUE(becomes_true(is_ready));
  kill(process, SIGTERM);
  EXPECT_EQ(status_of(process), 7);
  EXPECT_TRUE(appliance::strays().empty());
}

TEST_F(SupervisedProgram, HandlesAnInterruptItself) {
  const pid_t process = start("trap 'exit 9' INT; : > /etc/logs/ready; kill -INT 0; exit 8");
  EXPECT_EQ(status_of(process), 9);
}

TEST_F(SupervisedProgram, ReportsTheSignalThatKilledIt) {
  EXPECT_EQ(status_of(start("kill -ABRT $$")), 128 + SIGABRT);
}

// This program again, on the same appliance.
TEST_F(SupervisedProgram, FailsIfATestEndsItWithSuccess) {
  if (std::getenv("ENDS_EARLY") != nullptr) {
    _exit(0);
  }
  const std::string program = std::filesystem::read_symlink("/proc/self/exe");
  const std::string early = "ENDS_EARLY=1 " + program + " --gtest_filter=*.FailsIfATestEndsItWithSuccess";
  const std::string late = program + " --gtest_filter=Appliance.LosesTheLogFolderOnRequest";
  EXPECT_EQ(status_of(start((early + " > /dev/null 2>&1; exit $?").c_str())), 1);
  EXPECT_EQ(status_of(start((late + " > /dev/null 2>&1; exit $?").c_str())), 0);
}

TEST_F(Appliance, FailsIfTheCallerDoesNotSurvive) {
  EXPECT_NO_FATAL_FAILURE(survive([] {}));
  EXPECT_NONFATAL_FAILURE(survive([] { _exit(0); }), "ended with this status");
  EXPECT_NONFATAL_FAILURE(survive([] { _exit(1); }), "ended with this status");
  EXPECT_FATAL_FAILURE(survive([] { raise(SIGKILL); }), "ended by signal 9");
}

TEST_F(Appliance, LosesTheLogFolderOnRequest) {
  remove_log_folder();
  EXPECT_EQ(annal_event_query_count(0), ANNAL_OPEN_FAILED);
}

class SqliteTraceTest : public ApplianceTest {};

TEST_F(SqliteTraceTest, RecordsTheLibrarysCallsInOrder) {
  annal_event_create_tbl(0, 0);
  sqlite.reset();
  EXPECT_EQ(annal_event_query_count(0), 0);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "busy_timeout 20000",
                                   "prepare SELECT COUNT(*) FROM ANNAL_EVENT ;", "finalize", "close"}));
}

TEST_F(SqliteTraceTest, SkipsTheTestsOwnCalls) {
  sql(kLog, "CREATE TABLE t (x);");
  EXPECT_TRUE(sqlite.calls().empty());
}

TEST_F(SqliteTraceTest, FailsTheChosenCallOnly) {
  annal_event_create_tbl(0, 0);
  sqlite.fail("open", 2);
  EXPECT_EQ(annal_event_query_count(0), 0);
  EXPECT_EQ(annal_event_query_count(0), ANNAL_OPEN_FAILED);
  EXPECT_EQ(annal_event_query_count(0), 0);
}

class PlatformRecorderTest : public ApplianceTest {};

TEST_F(PlatformRecorderTest, RecordsAndPassesOn) {
  char ip[] = "192.168.1.2";
  EXPECT_EQ(annal_checkip(ip), ANNAL_OK);
  EXPECT_EQ(platform.calls(), Calls({R"(IS_IPv6_Address("192.168.1.2"))", R"(Is_Valid_Source("192.168.1.2"))"}));
}

TEST_F(PlatformRecorderTest, ReturnsWhatTheTestSets) {
  platform.answer("Is_Valid_Source", 1);
  char word[] = "nonsense";
  EXPECT_EQ(annal_checkip(word), ANNAL_OK);
}

class LockHolderTest : public ApplianceTest {};

TEST_F(LockHolderTest, HoldsTheLockUntilItIsDestroyed) {
  annal_event_create_tbl(0, 0);
  {
    const LockHolder lock(kLog);
    EXPECT_EQ(annal_event_remove_tbl(), ANNAL_TABLE_FAILED);
  }
  EXPECT_EQ(annal_event_remove_tbl(), ANNAL_OK);
}

TEST_F(LockHolderTest, ReleasesTheLockAfterAWhile) {
  annal_event_create_tbl(0, 0);
  const LockHolder lock(kLog, 200ms);
  EXPECT_EQ(annal_event_flush_tbl(), ANNAL_OK);
}

class ClockTest : public ApplianceTest {};

TEST_F(ClockTest, StopsOnlyForTheLibrary) {
  annal_event_create_tbl(0, 0);
  Clock::stop_at(1600000000);
  EXPECT_GT(time(nullptr), 1600000000);
  EventRecord record{};
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  EXPECT_EQ(record.event_timet, 1600000000);
}

class CommandsTest : public ApplianceTest {};

TEST_F(CommandsTest, RecordTheirRuns) {
  commands.install("/sbin/orcapro_log_tool", {.exit_status = 7});
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/etc/passwd", O_RDONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  const char* const arguments[] = {"tool", "-t", "two words", nullptr};
  const char* const environment[] = {"HTTP_CLIENT_ID=42", nullptr};
  pid_t child = 0;
  ASSERT_EQ(posix_spawn(&child, "/sbin/orcapro_log_tool", &actions, nullptr, const_cast<char**>(arguments),
                        const_cast<char**>(environment)),
            0);
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(WEXITSTATUS(status), 7);

  const auto runs = commands.wait_for(1);
  ASSERT_EQ(runs.size(), 1U);
  const CommandRun& run = runs[0];
  EXPECT_TRUE(run.path.ends_with("/sbin/orcapro_log_tool")) << run.path;
  EXPECT_EQ(run.arguments, Row({"tool", "-t", "two words"}));
  std::ifstream passwd("/etc/passwd");
  EXPECT_EQ(run.input, std::string(std::istreambuf_iterator<char>(passwd), {}));
  EXPECT_EQ(run.descriptors.at(1), "w /dev/null");
  EXPECT_EQ(run.environment, (std::map<std::string, std::string>{{"HTTP_CLIENT_ID", "42"}}));
  EXPECT_EQ(run.process, child);
  EXPECT_EQ(run.parent, getpid());
  EXPECT_EQ(run.session, getsid(0));
  EXPECT_EQ(run.group, getpgrp());
}

TEST_F(CommandsTest, RecordNothingIfNotRun) {
  commands.install("/usr/local/sbin/evsh");
  EXPECT_TRUE(commands.settled().empty());
}

}  // namespace
}  // namespace annal::test
