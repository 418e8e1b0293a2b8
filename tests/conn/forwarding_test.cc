// Forwards connections to the appliance's other log consumers without any effect on the caller.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Corix_annal.h"
#include "tests/conn/conn_log.h"
#include "tests/support/few_processes.h"
#include "tests/support/forwarding.h"
#include "tests/support/little_memory.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr const char* kRecorderTool = "/sbin/orcapro_conn_log_tool";

constexpr std::time_t kMoment = 1705361400;

// The log centre command's arguments for the complete record.
Row full_vector() {
  return {kEvsh,
          "lumo.add_local_access_log",
          "level=2",
          "ip=10.0.0.5",
          "user=ann",
          "computer=pc1",
          "resource=/share/a",
          "action=512",
          "service=4",
          "application=Files",
          "action_result=4096",
          "client_id=id-3",
          "client_app=Browser",
          "client_agent=Mozilla/5.0 (X11)"};
}

// The recorder tool's arguments for it.
Row recorder_vector() {
  return {kRecorderTool, "-t",      "1",  "-l",       std::to_string(kMoment),
          "-u",          "ann",     "-p", "10.0.0.5", "-m",
          "pc1",         "-s",      "3",  "-c",       "10",
          "-a",          "/share/a"};
}

const char* const kSyslogCall = R"(SendConnToZSyslogd(1, "ann", "10.0.0.5", "pc1", 3, 10, "/share/a"))";

bool is_log_centre(const CommandRun& run) {
  return run.arguments.at(0) == kEvsh;
}

// Detached commands run in any order; sorts the log centre's first.
std::vector<CommandRun> in_order(std::vector<CommandRun> runs) {
  std::stable_partition(runs.begin(), runs.end(), is_log_centre);
  return runs;
}

// ---- the ways to submit one connection ----

int add(ConnRecord& record) {
  return annal_conn_add2(&record);
}

int add_as_batch(ConnRecord& record) {
  int inserted = kNobody;
  return annal_conn_add_entries2(&record, 1, &inserted);
}

int add_earlier_form(ConnRecord& record) {
  const ConnRecordV1 earlier = earlier_form(record);
  return annal_conn_add(&earlier);
}

int add_earlier_form_as_batch(ConnRecord& record) {
  const ConnRecordV1 earlier = earlier_form(record);
  int inserted = kNobody;
  return annal_conn_add_entries(&earlier, 1, &inserted);
}

struct Submission {
  const char* name;
  int (*submit)(ConnRecord& record);
  bool full;  // has the client fields
};

constexpr Submission kSubmissions[] = {
    {"Alone", add, true},
    {"InABatch", add_as_batch, true},
    {"InTheEarlierForm", add_earlier_form, false},
    {"InABatchOfTheEarlierForm", add_earlier_form_as_batch, false},
};

class ConnForwarding : public ConnLogTest {
 protected:
  void SetUp() override {
    ConnLogTest::SetUp();
    commands.install(kEvsh);
    commands.install(kRecorderTool);
    for (const char* variable : {"HTTP_CLIENT_ID", "HTTP_CLIENT_APP", "HTTP_CLIENT_AGENT"}) {
      unsetenv(variable);
    }
    Clock::stop_at(kMoment);
  }
};

class ConnForwardingOfOne : public ConnForwarding, public testing::WithParamInterface<Submission> {
 protected:
  static void submit(ConnRecord record) { EXPECT_EQ(GetParam().submit(record), ANNAL_OK); }

  // The two commands for an action that the recorder receives.
  std::vector<CommandRun> runs_for(const ConnRecord& record) {
    submit(record);
    auto runs = in_order(commands.wait_for(2));
    EXPECT_EQ(runs.size(), 2U);
    runs.resize(2);
    return runs;
  }
};
INSTANTIATE_TEST_SUITE_P(, ConnForwardingOfOne, testing::ValuesIn(kSubmissions), name_in<Submission>);

TEST_P(ConnForwardingOfOne, GivesEachConsumerItsArguments) {
  const auto runs = runs_for(complete_record());
  Row vector = full_vector();
  if (!GetParam().full) {
    vector.resize(11);
    vector.insert(vector.end(), {"client_id=---", "client_app=---", "client_agent=---"});
  }
  EXPECT_EQ(runs[0].arguments, vector);
  EXPECT_EQ(runs[1].arguments, recorder_vector());
  EXPECT_TRUE(runs[1].path.ends_with(kRecorderTool)) << runs[1].path;
  EXPECT_EQ(consumer_calls(), Calls({kSyslogCall}));
}

// Every consumer gets the stored values, not the caller's.
TEST_P(ConnForwardingOfOne, PassesTheConnectionAsStored) {
  ConnRecord record = empty_record();
  record.conn_type = 2;
  put(record, kRes, "it's\t\u2028a");
  const bool alone = std::string(GetParam().name).find("Batch") == std::string::npos;
  const auto runs = runs_for(record);
  const std::string user = alone ? "---" : "System";
  const std::string ip = alone ? "---" : "127.0.0.1";
  EXPECT_EQ(runs[0].arguments,
            Row({kEvsh, "lumo.add_local_access_log", "level=4", "ip=" + ip, "user=" + user, "computer=localhost",
                 "resource=it'sa", "action=512", "service=4", "application=---", "action_result=4096", "client_id=---",
                 "client_app=localhost", "client_agent=---"}));
  EXPECT_EQ(runs[1].arguments, Row({kRecorderTool, "-t", "2", "-l", std::to_string(kMoment), "-u", user, "-p", ip, "-m",
                                    "localhost", "-s", "3", "-c", "10", "-a", "it'sa"}));
  EXPECT_EQ(consumer_calls(),
            Calls({"SendConnToZSyslogd(2, \"" + user + "\", \"" + ip + R"(", "localhost", 3, 10, "it'sa"))"}));
}

TEST_P(ConnForwardingOfOne, PassesTheLongestTextsWhole) {
  platform.answer("Is_Valid_Source", 1);
  ConnRecord record = complete_record();
  for (const Field& field : kTexts) {
    put(record, field, std::string(field.size - 1, 'x'));
  }
  const auto runs = runs_for(record);
  ASSERT_EQ(runs[0].arguments.size(), 14U);
  EXPECT_EQ(runs[0].arguments[3], "ip=" + std::string(64, 'x'));
  EXPECT_EQ(runs[0].arguments[4], "user=" + std::string(64, 'x'));
  EXPECT_EQ(runs[0].arguments[5], "computer=" + std::string(64, 'x'));
  EXPECT_EQ(runs[0].arguments[6], "resource=" + std::string(1024, 'x'));
  EXPECT_EQ(runs[0].arguments[9], "application=" + std::string(256, 'x'));
  if (GetParam().full) {
    EXPECT_EQ(runs[0].arguments[11], "client_id=" + std::string(64, 'x'));
    EXPECT_EQ(runs[0].arguments[12], "client_app=" + std::string(128, 'x'));
    EXPECT_EQ(runs[0].arguments[13], "client_agent=" + std::string(256, 'x'));
  }
  EXPECT_EQ(runs[1].arguments[16], std::string(1024, 'x'));
}

TEST_P(ConnForwardingOfOne, DoesNotInterpretPercentSigns) {
  platform.answer("Is_Valid_Source", 1);
  ConnRecord record = complete_record();
  put(record, kUser, "%s%n");
  put(record, kRes, "/%d \"\\$HOME\n");
  const auto runs = runs_for(record);
  EXPECT_EQ(runs[0].arguments.at(4), "user=%s%n");
  EXPECT_EQ(runs[0].arguments.at(6), "resource=/%d \"\\$HOME");
  EXPECT_EQ(runs[1].arguments.at(6), "%s%n");
}

// The log centre, the forwarder, the recorder.
TEST_P(ConnForwardingOfOne, CallsConsumersInOrder) {
  const ChildRecorder noted;
  submit(complete_record());
  const std::size_t all = platform.calls().size();
  EXPECT_EQ(platform.calls().back(), kSyslogCall);
  EXPECT_EQ(ChildRecorder::calls(), (std::vector<std::size_t>{all - 1, all}));
  EXPECT_EQ(ChildRecorder::statuses(), (std::vector<int>{0, 0}));
  EXPECT_EQ(commands.wait_for(2).size(), 2U);
}

TEST_P(ConnForwardingOfOne, LeavesTheCallerNoChild) {
  for (const char* command : {kEvsh, kRecorderTool}) {
    commands.install(command, {.takes = 100ms});
  }
  const auto runs = runs_for(complete_record());
  expect_no_child_left();
  for (const CommandRun& run : runs) {
    EXPECT_NE(run.parent, getpid());
  }
  EXPECT_EQ(runs[0].session, getsid(0));
  EXPECT_EQ(runs[0].group, getpgrp());
  EXPECT_EQ(runs[1].session, runs[1].process);
  EXPECT_EQ(runs[1].group, runs[1].process);
}

TEST_P(ConnForwardingOfOne, LetsNoCommandInheritTheLog) {
  const std::set<int> before = inheritable_descriptors();
  for (const CommandRun& run : runs_for(complete_record())) {
    EXPECT_EQ(further_descriptors(run), before) << run.path;
  }
  EXPECT_EQ(inheritable_descriptors(), before);
}

TEST_P(ConnForwardingOfOne, ConnectsTheCommandsToTheNullDevice) {
  const auto runs = runs_for(complete_record());
  EXPECT_EQ(standard_descriptors(runs[0]), (Descriptors{{0, "r /dev/null"}, {1, "w /dev/null"}, {2, "w /dev/null"}}));
  EXPECT_EQ(standard_descriptors(runs[1]),
            (Descriptors{{0, "rw /dev/null"}, {1, "rw /dev/null"}, {2, "rw /dev/null"}}));
}

TEST_P(ConnForwardingOfOne, WaitsForNoCommand) {
  for (const char* command : {kEvsh, kRecorderTool}) {
    commands.install(command, {.takes = 3s});
  }
  const auto started = steady_clock::now();
  submit(complete_record());
  EXPECT_LT(steady_clock::now() - started, 2s);
  EXPECT_EQ(commands.wait_for(2).size(), 2U);
}

TEST_P(ConnForwardingOfOne, IgnoresThePlatformsResults) {
  platform.answer("SendConnToZSyslogd", -1);
  EXPECT_EQ(runs_for(complete_record()).size(), 2U);
  EXPECT_EQ(stored_count(), "1");
}

TEST_P(ConnForwardingOfOne, IgnoresACommandsExitStatus) {
  for (const char* command : {kEvsh, kRecorderTool}) {
    commands.install(command, {.exit_status = 7});
  }
  EXPECT_EQ(runs_for(complete_record()).size(), 2U);
  EXPECT_EQ(stored_count(), "1");
  expect_no_child_left();
}

// The recorder is installed, but its tool cannot run.
TEST_P(ConnForwardingOfOne, SucceedsIfNoCommandCanRun) {
  std::filesystem::remove(kEvsh);
  std::filesystem::permissions(kRecorderTool, std::filesystem::perms::owner_read);
  const ChildRecorder noted;
  submit(complete_record());
  EXPECT_EQ(ChildRecorder::statuses(), (std::vector<int>{0, 0}));
  EXPECT_EQ(consumer_calls(), Calls({kSyslogCall}));
  EXPECT_EQ(stored_count(), "1");
  expect_no_child_left();
}

TEST_P(ConnForwardingOfOne, SkipsARecorderThatIsNotInstalled) {
  std::filesystem::remove(kRecorderTool);
  const ChildRecorder noted;
  submit(complete_record());
  EXPECT_EQ(ChildRecorder::calls().size(), 1U);
  EXPECT_EQ(commands.wait_for(1).size(), 1U);
}

TEST_P(ConnForwardingOfOne, WorksInACallerThatIgnoresItsChildren) {
  survive([this] {
    set_handler(SIGCHLD, SIG_IGN);
    submit(complete_record());
    expect_no_child_left();
    EXPECT_EQ(commands.wait_for(2).size(), 2U);
    struct sigaction action {};
    sigaction(SIGCHLD, nullptr, &action);
    EXPECT_EQ(action.sa_handler, SIG_IGN);
  });
  EXPECT_EQ(stored_count(), "1");
}

TEST_P(ConnForwardingOfOne, RunsItsCommandsInACallerWithClosedDescriptors) {
  for (unsigned which = 0; which < 8; ++which) {
    survive([this, which] {
      commands.reset();
      {
        const ClosedDescriptors closed(which);
        submit(complete_record());
      }
      const auto runs = in_order(commands.wait_for(2));
      ASSERT_EQ(runs.size(), 2U);
      EXPECT_EQ(standard_descriptors(runs[0]),
                (Descriptors{{0, "r /dev/null"}, {1, "w /dev/null"}, {2, "w /dev/null"}}));
      EXPECT_EQ(standard_descriptors(runs[1]),
                (Descriptors{{0, "rw /dev/null"}, {1, "rw /dev/null"}, {2, "rw /dev/null"}}));
      const std::set<int> inherited = inheritable_descriptors();
      EXPECT_EQ(further_descriptors(runs[0]), inherited);
      EXPECT_EQ(further_descriptors(runs[1]), inherited);
    });
  }
  EXPECT_EQ(stored_count(), "8");
}

TEST_P(ConnForwardingOfOne, StartsAfterTheRowIsStored) {
  Calls seen;
  platform.meanwhile("SendConnToZSyslogd", [&seen] { seen = SqliteTrace::calls(); });
  sqlite.reset();
  sqlite.follow_statements();
  submit(complete_record());
  ASSERT_FALSE(seen.empty());
  const bool alone = std::string(GetParam().name).find("Batch") == std::string::npos;
  EXPECT_EQ(seen.back(), alone ? "close" : "reset");
  EXPECT_EQ(commands.wait_for(2).size(), 2U);
}

// ---- no room for another process ----

class ConnForwardingWithoutProcesses : public ConnForwarding {
 protected:
  void SetUp() override {
    if (geteuid() != 0) {
      GTEST_SKIP() << "only root can become a user without other processes";
    }
    ConnForwarding::SetUp();
    for (const char* file : {"/etc/logs", kLog}) {
      std::filesystem::permissions(file, std::filesystem::perms::all);
    }
  }

  // Stores a connection with a limit of N processes; none gets as far as a command.
  void expect_stored_with(rlim_t processes, const std::vector<int>& statuses) {
    survive([&] {
      allow_processes(processes);
      const ChildRecorder noted;
      ConnRecord record = complete_record();
      EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
      EXPECT_EQ(ChildRecorder::statuses(), statuses);
      EXPECT_EQ(consumer_calls(), Calls({kSyslogCall}));
      expect_no_child_left();
    });
    EXPECT_TRUE(commands.settled().empty());
    EXPECT_EQ(stored_count(), "1");
  }
};

TEST_F(ConnForwardingWithoutProcesses, StillStores) {
  expect_stored_with(0, {});
}

// The log centre's first child reports it in its exit status.
TEST_F(ConnForwardingWithoutProcesses, StillStoresIfTheSecondCannotBeCreated) {
  expect_stored_with(1, {1, 0});
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // which need address space of their own
class ConnForwardingWithALittleMemory : public ConnForwarding, public testing::WithParamInterface<std::size_t> {};
INSTANTIATE_TEST_SUITE_P(, ConnForwardingWithALittleMemory, testing::ValuesIn(kLittleRooms));

// A warm-up for what only the first call allocates.
TEST_P(ConnForwardingWithALittleMemory, RunsBothCommands) {
  survive([] {
    ConnRecord record = complete_record();
    ASSERT_EQ(annal_conn_add2(&record), ANNAL_OK);
    EXPECT_EQ(Commands::wait_for(2).size(), 2U);
    Commands::reset();
    {
      const LittleMemory memory(GetParam());
      EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
    }
    expect_no_child_left();
    const auto runs = in_order(Commands::wait_for(2));
    ASSERT_EQ(runs.size(), 2U);
    EXPECT_EQ(runs[0].arguments, full_vector());
    EXPECT_EQ(runs[1].arguments, recorder_vector());
  });
}
#endif

// ---- refusals ----

struct Refusal {
  const char* name;
  int alone;
  int in_a_batch;
  void (*prepare)(ConnRecord& record);
};

constexpr Refusal kRefusals[] = {
    {"WithoutAFolder", ANNAL_OPEN_FAILED, ANNAL_OPEN_FAILED, [](ConnRecord&) { remove_log_folder(); }},
    {"WithAnOverlongUser", ANNAL_TOO_LONG, ANNAL_OK, [](ConnRecord& record) { overfill(record, kUser, 'x'); }},
    {"WithAnUnknownResult", ANNAL_BAD_ARGUMENT, ANNAL_OK, [](ConnRecord& record) { record.conn_action_result = 1; }},
    {"WithAValueThatCannotBeBuiltOrBound", ANNAL_NO_MEMORY, ANNAL_OK,
     [](ConnRecord&) {
       SqliteTrace::fail("mprintf");
       SqliteTrace::fail("bind");
     }},
};

class ConnForwardingRefusal : public ConnForwarding, public testing::WithParamInterface<Refusal> {};
INSTANTIATE_TEST_SUITE_P(, ConnForwardingRefusal, testing::ValuesIn(kRefusals), name_in<Refusal>);

TEST_P(ConnForwardingRefusal, ForwardsNothing) {
  const ChildRecorder noted;
  for (const auto& [submit, answer] :
       {std::pair(&add, GetParam().alone), std::pair(&add_as_batch, GetParam().in_a_batch)}) {
    ConnRecord record = complete_record();
    GetParam().prepare(record);
    EXPECT_EQ(submit(record), answer);
    sqlite.reset();
  }
  EXPECT_EQ(consumer_calls(), Calls());
  EXPECT_TRUE(ChildRecorder::calls().empty());
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(ConnForwarding, ForwardsARecordOfABatchThatIsNotStored) {
  sqlite.fail("step");
  ConnRecord record = complete_record();
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(&record, 1, &inserted), ANNAL_OK);
  EXPECT_EQ(inserted, 0);
  EXPECT_EQ(consumer_calls(), Calls({kSyslogCall}));
  const auto runs = in_order(commands.wait_for(2));
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0].arguments, full_vector());
  EXPECT_EQ(runs[1].arguments, recorder_vector());
}

TEST_F(ConnForwarding, ForwardsABatchRecordByRecord) {
  std::array records{complete_record(), complete_record(), complete_record()};
  put(records[0], kUser, "first");
  put(records[1], kUser, "second");
  records[1].conn_action = 8;
  put(records[2], kUser, "third");
  const ChildRecorder noted;
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), 3, &inserted), ANNAL_OK);
  // Each record makes three platform calls for its normalisation before the log centre gets it.
  EXPECT_EQ(ChildRecorder::calls(), (std::vector<std::size_t>{3, 4, 7, 11, 12}));
  EXPECT_EQ(consumer_calls(), Calls({R"(SendConnToZSyslogd(1, "first", "10.0.0.5", "pc1", 3, 10, "/share/a"))",
                                     R"(SendConnToZSyslogd(1, "second", "10.0.0.5", "pc1", 3, 8, "/share/a"))",
                                     R"(SendConnToZSyslogd(1, "third", "10.0.0.5", "pc1", 3, 10, "/share/a"))"}));
  std::multiset<std::string> told;
  for (const CommandRun& run : commands.wait_for(5)) {
    told.insert(is_log_centre(run) ? run.arguments.at(4) : "recorder: " + run.arguments.at(6));
  }
  EXPECT_EQ(told, (std::multiset<std::string>{"user=first", "user=second", "user=third", "recorder: first",
                                              "recorder: third"}));
  expect_no_child_left();
}

// ---- log centre ----

class ConnLogCentre : public ConnForwarding {
 protected:
  void SetUp() override {
    ConnForwarding::SetUp();
    std::filesystem::remove(kRecorderTool);
  }

  Row vector_for(ConnRecord record) {
    commands.reset();
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
    const auto runs = commands.wait_for(1);
    EXPECT_EQ(runs.size(), 1U);
    return runs.empty() ? Row(14) : runs[0].arguments;
  }

  // The arguments for level, action, service and action result.
  Row sets_for(int type, int action, int service, int result) {
    ConnRecord record = complete_record();
    record.conn_type = type;
    record.conn_action = action;
    record.conn_serv = service;
    record.conn_action_result = result;
    const Row vector = vector_for(record);
    return {vector.at(2), vector.at(7), vector.at(8), vector.at(10)};
  }
};

constexpr const char* kSets[] = {
    "0",          "1",          "2",          "4",           "8",          "16",        "32",        "64",
    "128",        "256",        "512",        "1024",        "2048",       "4096",      "8192",      "16384",
    "32768",      "65536",      "131072",     "262144",      "524288",     "1048576",   "2097152",   "4194304",
    "8388608",    "16777216",   "33554432",   "67108864",    "134217728",  "268435456", "536870912", "1073741824",
    "2147483648", "4294967296", "8589934592", "17179869184", "34359738368"};

TEST_F(ConnLogCentre, GetsEachActionAsASet) {
  static_assert(std::size(kSets) == 37);
  for (int action = 0; action <= 36; ++action) {
    EXPECT_EQ(sets_for(1, action, 3, 0),
              Row({"level=2", std::string("action=") + kSets[action], "service=4", "action_result=0"}));
  }
}

TEST_F(ConnLogCentre, GetsEachServiceAsASet) {
  for (int service = 0; service <= 12; ++service) {
    EXPECT_EQ(sets_for(0, 20, service, 13),
              Row({"level=1", "action=524288", std::string("service=") + kSets[service], "action_result=4096"}));
  }
}

TEST_F(ConnLogCentre, GetsEachLevel) {
  EXPECT_EQ(sets_for(0, 1, 1, 0).at(0), "level=1");
  EXPECT_EQ(sets_for(1, 1, 1, 0).at(0), "level=2");
  EXPECT_EQ(sets_for(2, 1, 1, 0).at(0), "level=4");
}

// An empty client field: the platform's cleaning function is the last to see the record before it is stored.
class ConnLogCentreDetail : public ConnLogCentre {
 protected:
  void TearDown() override {
    for (const char* variable : {"HTTP_CLIENT_ID", "HTTP_CLIENT_APP", "HTTP_CLIENT_AGENT"}) {
      unsetenv(variable);
    }
    ConnLogCentre::TearDown();
  }

  Row vector_without(ConnRecord record, const std::vector<Field>& fields) {
    commands.reset();
    platform.meanwhile("Skip_Unicode_Control_Characters", [&] {
      for (const Field& field : fields) {
        *field.in(record) = '\0';
      }
    });
    EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
    PlatformRecorder::reset();
    const auto runs = commands.wait_for(1);
    return runs.empty() ? Row(14) : runs[0].arguments;
  }
};

struct Detail {
  Field field;
  const char* key;
  const char* variable;
};

constexpr Detail kDetails[] = {{kClientId, "client_id=", "HTTP_CLIENT_ID"},
                               {kClientApp, "client_app=", "HTTP_CLIENT_APP"},
                               {kClientAgent, "client_agent=", "HTTP_CLIENT_AGENT"}};

TEST_F(ConnLogCentreDetail, ComesFromTheWebServerIfTheRecordHasNone) {
  for (std::size_t i = 0; i < std::size(kDetails); ++i) {
    Row expected = full_vector();
    const std::string text = kDetails[i].key;
    for (const char* given : {"of the web server", "", "%s%n"}) {
      setenv(kDetails[i].variable, given, 1);
      EXPECT_EQ(vector_for(complete_record()), full_vector());
      expected[11 + i] = text + given;
      EXPECT_EQ(vector_without(complete_record(), {kDetails[i].field}), expected);
    }
    unsetenv(kDetails[i].variable);
    expected.erase(expected.begin() + 11 + static_cast<std::ptrdiff_t>(i));
    EXPECT_EQ(vector_without(complete_record(), {kDetails[i].field}), expected);
  }
}

TEST_F(ConnLogCentreDetail, IsMissingIfNoOneKnowsIt) {
  Row expected = full_vector();
  expected.resize(11);
  EXPECT_EQ(vector_without(complete_record(), {kClientId, kClientApp, kClientAgent}), expected);
}

TEST_F(ConnLogCentreDetail, DoesNotComeFromTheWebServerForAFilledConnection) {
  for (const auto& [field, key, variable] : kDetails) {
    setenv(variable, "of the web server", 1);
  }
  const Row vector = vector_for(empty_record());
  EXPECT_EQ(Row(vector.begin() + 11, vector.end()), Row({"client_id=---", "client_app=localhost", "client_agent=---"}));
}

// All texts share the same room, to the last byte.
TEST_F(ConnLogCentreDetail, IsCutAtTheEndOfTheRoom) {
  const Row full = full_vector();
  std::size_t used = 0;
  for (std::size_t i = 2; i < 11; ++i) {
    used += full[i].size() + 1;
  }
  const std::size_t left = kTextRoom - used;  // including terminators
  const auto details_for = [this](std::size_t length) {
    setenv("HTTP_CLIENT_ID", std::string(length - std::string("client_id=").size(), 'c').c_str(), 1);
    setenv("HTTP_CLIENT_APP", "app", 1);
    setenv("HTTP_CLIENT_AGENT", "agent", 1);
    const Row vector = vector_without(complete_record(), {kClientId, kClientApp, kClientAgent});
    EXPECT_EQ(Row(vector.begin(), vector.begin() + 11), [] {
      Row head = full_vector();
      head.resize(11);
      return head;
    }());
    return Row(vector.begin() + 11, vector.end());
  };
  const auto id = [](std::size_t length) {
    return "client_id=" + std::string(length - std::string("client_id=").size(), 'c');
  };
  EXPECT_EQ(details_for(left + 5000), Row({id(left - 1), "", ""}));
  EXPECT_EQ(details_for(left), Row({id(left - 1), "", ""}));
  EXPECT_EQ(details_for(left - 1), Row({id(left - 1), "", ""}));
  EXPECT_EQ(details_for(left - 2), Row({id(left - 2), "", ""}));
  EXPECT_EQ(details_for(left - 3), Row({id(left - 3), "c", ""}));
  EXPECT_EQ(details_for(left - 16), Row({id(left - 16), "client_app=app", ""}));
  EXPECT_EQ(details_for(left - 18), Row({id(left - 18), "client_app=app", "c"}));
  EXPECT_EQ(details_for(left - 35), Row({id(left - 35), "client_app=app", "client_agent=agent"}));
}

// ---- recorder ----

class ConnRecorder : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    commands.install(kRecorderTool);
    Clock::stop_at(kMoment);
  }

  static int send(int action) { return send_conn_log_to_orca(1, "ann", "10.0.0.5", "pc1", 3, action, "/share/a"); }

  CommandRun only_run() {
    const auto runs = commands.wait_for(1);
    EXPECT_EQ(runs.size(), 1U);
    return runs.empty() ? CommandRun() : runs[0];
  }

  void expect_nothing_started(int action) {
    const ChildRecorder noted;
    EXPECT_EQ(send(action), ANNAL_OK);
    EXPECT_TRUE(ChildRecorder::calls().empty()) << action;
  }
};

TEST_F(ConnRecorder, GetsTheActionsFromNineToEleven) {
  for (const int action : {9, 10, 11}) {
    commands.reset();
    EXPECT_EQ(send(action), ANNAL_OK);
    Row expected = recorder_vector();
    expected[14] = std::to_string(action);
    EXPECT_EQ(only_run().arguments, expected);
  }
}

TEST_F(ConnRecorder, GetsNoOthers) {
  for (int action = -1; action <= 40; ++action) {
    if (action < 9 || action > 11) {
      expect_nothing_started(action);
    }
  }
  for (const int action : {INT_MIN, INT_MIN + 9, -9, -10, 256 + 10, INT_MAX}) {
    expect_nothing_started(action);
  }
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(ConnRecorder, GetsTheEdgeOfItsActionsFromSubmissionToo) {
  ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
  std::array records{complete_record(), complete_record(), complete_record(), complete_record(), complete_record()};
  for (std::size_t i = 0; i < records.size(); ++i) {
    records[i].conn_action = static_cast<int>(8 + i);
  }
  int inserted = kNobody;
  EXPECT_EQ(annal_conn_add_entries2(records.data(), 5, &inserted), ANNAL_OK);
  EXPECT_EQ(inserted, 5);
  std::set<std::string> actions;
  for (const CommandRun& run : commands.wait_for(3)) {
    actions.insert(run.arguments.at(14));
  }
  EXPECT_EQ(actions, (std::set<std::string>{"9", "10", "11"}));
  EXPECT_EQ(commands.settled().size(), 3U);
}

TEST_F(ConnRecorder, GetsNumbersAsTheyAre) {
  for (const int number : {0, 3, -1, INT_MAX, INT_MIN}) {
    commands.reset();
    EXPECT_EQ(send_conn_log_to_orca(number, "u", "i", "c", number, 9, "r"), ANNAL_OK);
    const std::string text = std::to_string(number);
    EXPECT_EQ(only_run().arguments, Row({kRecorderTool, "-t", text, "-l", std::to_string(kMoment), "-u", "u", "-p", "i",
                                         "-m", "c", "-s", text, "-c", "9", "-a", "r"}));
  }
}

TEST_F(ConnRecorder, GetsTheWholeTime) {
  for (const std::time_t now : {std::time_t{0}, std::time_t{0x80000000}, std::time_t{1} << 40}) {
    Clock::stop_at(now);
    commands.reset();
    EXPECT_EQ(send(9), ANNAL_OK);
    EXPECT_EQ(only_run().arguments.at(4), std::to_string(now));
  }
}

TEST_F(ConnRecorder, GetsEmptyTextsAndNullOnes) {
  EXPECT_EQ(send_conn_log_to_orca(0, "", "", "", 0, 10, ""), ANNAL_OK);
  EXPECT_EQ(only_run().arguments, Row({kRecorderTool, "-t", "0", "-l", std::to_string(kMoment), "-u", "", "-p", "",
                                       "-m", "", "-s", "0", "-c", "10", "-a", ""}));
  commands.reset();
  EXPECT_EQ(send_conn_log_to_orca(0, nullptr, nullptr, nullptr, 0, 10, nullptr), ANNAL_OK);
  EXPECT_EQ(only_run().arguments, Row({kRecorderTool, "-t", "0", "-l", std::to_string(kMoment), "-u", "(null)", "-p",
                                       "(null)", "-m", "(null)", "-s", "0", "-c", "10", "-a", "(null)"}));
}

// Direct callers' texts have no bound.
TEST_F(ConnRecorder, GetsLongTextsWhole) {
  const std::string text(20000, 'x');
  const char* const given = text.c_str();
  EXPECT_EQ(send_conn_log_to_orca(0, given, given, given, 0, 10, given), ANNAL_OK);
  EXPECT_EQ(only_run().arguments, Row({kRecorderTool, "-t", "0", "-l", std::to_string(kMoment), "-u", text, "-p", text,
                                       "-m", text, "-s", "0", "-c", "10", "-a", text}));
}

TEST_F(ConnRecorder, IsSkippedIfNotInstalled) {
  std::filesystem::remove(kRecorderTool);
  expect_nothing_started(10);
  std::filesystem::create_symlink("/sbin/missing", kRecorderTool);
  expect_nothing_started(10);
}

// It is tried if it exists.
TEST_F(ConnRecorder, IsTriedEvenIfItCannotRun) {
  const auto tried = [] {
    const ChildRecorder noted;
    EXPECT_EQ(send(10), ANNAL_OK);
    EXPECT_EQ(ChildRecorder::statuses(), std::vector<int>{0});
    expect_no_child_left();
  };
  std::filesystem::permissions(kRecorderTool, std::filesystem::perms::none);
  tried();
  std::filesystem::remove(kRecorderTool);
  std::filesystem::create_directory(kRecorderTool);
  tried();
  EXPECT_TRUE(commands.settled().empty());
}

// The recorder's tool must be a program; the log centre's command may be a script without a "#!" line.
TEST_F(ConnForwarding, RunsOnlyTheLogCentresScriptThroughTheShell) {
  commands.install("/usr/local/sbin/reader");
  install_script(kEvsh, "exec /usr/local/sbin/reader \"$0\" \"$@\"\n");
  install_script(kRecorderTool, "exec /usr/local/sbin/reader \"$0\" \"$@\"\n");
  ConnRecord record = complete_record();
  EXPECT_EQ(annal_conn_add2(&record), ANNAL_OK);
  Row expected = full_vector();
  expected.insert(expected.begin(), "/usr/local/sbin/reader");
  const auto runs = commands.wait_for(1);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].arguments, expected);
  EXPECT_EQ(commands.settled().size(), 1U);
}

TEST_F(ConnRecorder, ReadsAndWritesNothingInASessionOfItsOwn) {
  EXPECT_EQ(send(10), ANNAL_OK);
  const CommandRun run = only_run();
  EXPECT_EQ(standard_descriptors(run), (Descriptors{{0, "rw /dev/null"}, {1, "rw /dev/null"}, {2, "rw /dev/null"}}));
  EXPECT_EQ(run.session, run.process);
  expect_no_child_left();
}

TEST_F(ConnRecorder, LeavesErrnoAlone) {
  for (const int number : {0, EDOM}) {
    for (const int action : {8, 10}) {
      errno = number;
      EXPECT_EQ(send(action), ANNAL_OK);
      EXPECT_EQ(errno, number);
    }
  }
  EXPECT_EQ(commands.wait_for(2).size(), 2U);
  std::filesystem::remove(kRecorderTool);
  errno = EDOM;
  EXPECT_EQ(send(10), ANNAL_OK);
  EXPECT_EQ(errno, EDOM);
}

TEST_F(ConnRecorder, TouchesNoLog) {
  EXPECT_EQ(send(10), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_EQ(platform.calls(), Calls());
  EXPECT_EQ(commands.wait_for(1).size(), 1U);
}

}  // namespace
}  // namespace annal::test
