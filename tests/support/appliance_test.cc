// The instruments themselves: each is believed only because these tests would fail without it.
#include "tests/support/appliance.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "Corix_annal.h"
#include "appliance/namespace.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLog = "/etc/logs/event.log";

class Appliance : public ApplianceTest {};

TEST_F(Appliance, StartsEveryTestWithEmptyWritableFolders) {
  for (const char* folder : {"/etc/logs", "/usr/local/sbin/", "/sbin/"}) {
    std::ofstream(std::string(folder) + "/left-behind") << "x";
    EXPECT_TRUE(exists((std::string(folder) + "/left-behind").c_str()));
  }
  ApplianceTest::SetUp();
  EXPECT_TRUE(std::filesystem::is_empty("/etc/logs"));
  EXPECT_TRUE(std::filesystem::is_empty("/sbin/"));
  EXPECT_FALSE(exists("/usr/local/sbin/left-behind"));
}

TEST_F(Appliance, StillShowsTheMachinesOwnConfiguration) {
  EXPECT_TRUE(std::filesystem::is_regular_file("/etc/passwd"));
  EXPECT_TRUE(std::filesystem::exists("/etc/os-release"));
}

TEST_F(Appliance, IsSeenByNoProcessOutside) {
  std::ofstream("/etc/logs/secret") << "x";
  // The parent of this process is its keeper, outside.
  const std::string outside = "/proc/" + std::to_string(getppid()) + "/root/etc/logs/secret";
  EXPECT_FALSE(exists(outside.c_str()));
}

TEST_F(Appliance, EndsWhatATestLeavesRunning) {
  ASSERT_EQ(std::system("sleep 60 & sleep 60 &"), 0);
  EXPECT_EQ(appliance::strays().size(), 2U);
  ApplianceTest::TearDown();
  EXPECT_TRUE(appliance::strays().empty());
}

TEST_F(Appliance, LosesTheLogFolderOnRequest) {
  remove_log_folder();
  EXPECT_EQ(annal_event_query_count(0), ANNAL_OPEN_FAILED);
}

class SqliteTraceTest : public ApplianceTest {};

TEST_F(SqliteTraceTest, ShowsTheLibrarysCallsInOrder) {
  annal_event_create_tbl(0, 0);
  sqlite.reset();
  EXPECT_EQ(annal_event_query_count(0), 0);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "busy_timeout 20000",
                                   "prepare SELECT COUNT(*) FROM ANNAL_EVENT ;", "finalize", "close"}));
}

TEST_F(SqliteTraceTest, LeavesOutTheTestsOwnCalls) {
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

TEST_F(PlatformRecorderTest, AnswersAsTheTestWants) {
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

TEST_F(LockHolderTest, LetsGoAfterAWhile) {
  annal_event_create_tbl(0, 0);
  const LockHolder lock(kLog, 200ms);
  EXPECT_EQ(annal_event_flush_tbl(), ANNAL_OK);
}

class ClockTest : public ApplianceTest {};

TEST_F(ClockTest, StopsForTheLibraryOnly) {
  annal_event_create_tbl(0, 0);
  Clock::stop_at(1600000000);
  EXPECT_GT(time(nullptr), 1600000000);
  EventRecord record{};
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  EXPECT_EQ(record.event_timet, 1600000000);
}

class CommandsTest : public ApplianceTest {};

TEST_F(CommandsTest, RecordHowTheyWereRun) {
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

TEST_F(CommandsTest, ShowNothingWhenNothingWasRun) {
  commands.install("/usr/local/sbin/evsh");
  EXPECT_TRUE(commands.settled().empty());
}

}  // namespace
}  // namespace annal::test
