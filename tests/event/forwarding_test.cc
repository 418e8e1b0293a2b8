// Forwards events to each consumer: the notification centre, the log centre, the recorder and the platform's functions.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Corix_annal.h"
#include "tests/support/appliance.h"
#include "tests/support/forwarding.h"
#include "tests/support/records.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr const char* kLog = "/etc/logs/event.log";
constexpr const char* kRecorderInstalled = "/sbin/orcapro_conn_log_tool";
constexpr const char* kRecorderTool = "/sbin/orcapro_log_tool";

constexpr std::time_t kMoment = 1705361400;

template <typename Parameter>
std::string name_of(const testing::TestParamInfo<Parameter>& info) {
  return info.param.name;
}

// ---- records ----

template <std::size_t size>
void put(char (&field)[size], std::string_view text) {
  ASSERT_LT(text.size(), size);
  *std::copy(text.begin(), text.end(), field) = '\0';
}

// A complete event, whose fields are passed unchanged.
EventRecord full_record() {
  EventRecord record{};
  record.event_id = 99;
  record.event_type = 1;
  record.event_timet = kMoment;
  put(record.event_date_time, "date and time");
  put(record.event_user, "admin");
  put(record.event_ip, "10.0.0.5");
  put(record.event_comp, "nas-1");
  put(record.event_desc, "Fan \"2\" failed: 100%s \\ $HOME.");
  put(record.event_msgid, "F-17");
  put(record.event_app_id, "app-1");
  put(record.event_app_name, "Backup");
  put(record.event_category_id, "cat-2");
  put(record.event_category, "Hardware");
  put(record.event_client_id, "client-3");
  put(record.event_client_app, "Browser");
  put(record.event_client_agent, "Mozilla/5.0 (X11)");
  return record;
}

// The log centre command's arguments for it.
Row full_vector() {
  return {kEvsh,
          "lumo.add_local_event_log",
          "level=2",
          "timestamp=1705361400",
          "user=admin",
          "ip=10.0.0.5",
          "computer=nas-1",
          "application=Backup",
          "category=Hardware",
          "message=Fan \"2\" failed: 100%s \\ $HOME.",
          "client_id=client-3",
          "client_app=Browser",
          "client_agent=Mozilla/5.0 (X11)"};
}

Row without(const Row& vector, std::string_view key) {
  Row rest;
  std::copy_if(vector.begin(), vector.end(), std::back_inserter(rest),
               [&](const std::string& argument) { return !argument.starts_with(key); });
  EXPECT_EQ(rest.size() + 1, vector.size()) << key;
  return rest;
}

// ---- commands ----

bool is_run_of(const CommandRun& run, std::string_view command, std::string_view first_argument) {
  return run.arguments.size() > 1 && run.arguments[0] == command && run.arguments[1] == first_argument;
}

bool is_notification(const CommandRun& run) {
  return is_run_of(run, kEvsh, "-0");
}

bool is_log_centre(const CommandRun& run) {
  return is_run_of(run, kEvsh, "lumo.add_local_event_log");
}

bool is_recorder(const CommandRun& run) {
  return is_run_of(run, kRecorderTool, "-t");
}

std::ptrdiff_t count(const std::vector<CommandRun>& runs, bool (*which)(const CommandRun&)) {
  return std::count_if(runs.begin(), runs.end(), which);
}

std::string content_of(const char* path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

// ---- what a stored event sets off ----

void install_everything() {
  for (const char* path : {kEvsh, kRecorderInstalled, kRecorderTool}) {
    Commands::install(path);
  }
}

class EventForwarding : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    install_everything();
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
    for (const char* variable : {"HTTP_CLIENT_ID", "HTTP_CLIENT_APP", "HTTP_CLIENT_AGENT"}) {
      unsetenv(variable);
    }
  }
};

TEST_F(EventForwarding, CallsThePlatformWithItsArguments) {
  for (const auto& [type, severity] : {std::pair(1, "4"), std::pair(2, "3")}) {
    platform.reset();
    EventRecord record = full_record();
    record.event_type = type;
    put(record.event_desc, "Fan 2 failed.");
    ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
    EXPECT_EQ(consumer_calls(),
              Calls({"SNMPTrap_Send_Alert(\"Fan 2 failed.\", " + std::to_string(type) + ")",
                     "SendEventToZSyslogd(" + std::to_string(type) +
                         R"(, "admin", "10.0.0.5", "nas-1", "Backup", "Hardware", "Fan 2 failed."))",
                     std::string("SendNoticeToLogEngine(") + severity +
                         R"(, 0, NULL, "", 8, "", 0, -1, 0, "admin", "10.0.0.5", "nas-1", NULL, NULL, NULL, )" +
                         R"("Fan 2 failed."))"}));
  }
}

TEST_F(EventForwarding, SendsNoInformationToTheNoticeEngine) {
  EventRecord record = full_record();
  record.event_type = 0;
  put(record.event_desc, "Fan 2 is back.");
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  EXPECT_EQ(consumer_calls(),
            Calls({R"(SNMPTrap_Send_Alert("Fan 2 is back.", 0))",
                   R"(SendEventToZSyslogd(0, "admin", "10.0.0.5", "nas-1", "Backup", "Hardware", "Fan 2 is back."))"}));
}

TEST_F(EventForwarding, RunsTheCommandsWithTheirArguments) {
  EventRecord record = full_record();
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  const auto runs = commands.wait_for(3);
  ASSERT_EQ(runs.size(), 3U);
  EXPECT_EQ(runs[0].arguments, Row({kEvsh, "-0", "nc.send_message"}));
  EXPECT_EQ(runs[0].input, R"({"type":1,"level":2,"message":"Fan \"2\" failed: 100%s \\ $HOME."})");
  ASSERT_EQ(count(runs, is_log_centre), 1);
  ASSERT_EQ(count(runs, is_recorder), 1);
  const bool recorder_last = is_recorder(runs[2]);
  EXPECT_EQ(runs[recorder_last ? 1 : 2].arguments, full_vector());
  EXPECT_EQ(runs[recorder_last ? 2 : 1].arguments,
            Row({kRecorderTool, "-t", "1", "-l", "1705361400", "-u", "admin", "-p", "10.0.0.5", "-m", "nas-1", "-a",
                 "Fan \"2\" failed: 100%s \\ $HOME."}));
}

// The notification centre comes first, the log centre after the trap sender, the recorder last.
TEST_F(EventForwarding, CallsConsumersInOrder) {
  for (const int type : {0, 1, 2}) {
    EventRecord record = full_record();
    record.event_type = type;
    platform.reset();
    const ChildRecorder noted;
    ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
    const std::size_t all = platform.calls().size();
    const std::size_t before = all - consumer_calls().size();
    EXPECT_EQ(noted.calls(), (std::vector<std::size_t>{before, before + 1, all})) << type;
  }
}

TEST_F(EventForwarding, SkipsARecorderThatIsNotInstalled) {
  std::filesystem::remove(kRecorderInstalled);
  EventRecord record = full_record();
  const ChildRecorder noted;
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  const std::size_t before = platform.calls().size() - consumer_calls().size();
  EXPECT_EQ(noted.calls(), (std::vector<std::size_t>{before, before + 1}));
  EXPECT_EQ(count(commands.wait_for(2), is_recorder), 0);
}

// The call waits for the end of the notification centre's command, but only for the start of the others.
TEST_F(EventForwarding, SendsTheNotificationBeforeAnythingElse) {
  commands.install(kEvsh, {.takes = 100ms});
  EventRecord record = full_record();
  const auto started = steady_clock::now();
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  EXPECT_GE(steady_clock::now() - started, 100ms);
  const auto runs = commands.wait_for(3);
  ASSERT_EQ(runs.size(), 3U);
  EXPECT_TRUE(is_notification(runs[0]));
}

// Every consumer gets the stored values, not the caller's.
TEST_F(EventForwarding, PassesTheEventAsStored) {
  Clock::stop_at(1700000000);
  EventRecord record{};
  record.event_type = 2;
  put(record.event_ip, "::ffff:10.1.2.3");
  put(record.event_desc, "Fan\t2\u2028 failed.");
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  EXPECT_EQ(consumer_calls(),
            Calls({R"(SNMPTrap_Send_Alert("Fan2 failed.", 2))",
                   R"(SendEventToZSyslogd(2, "---", "10.1.2.3", "localhost", "---", "---", "Fan2 failed."))",
                   R"(SendNoticeToLogEngine(3, 0, NULL, "", 8, "", 0, -1, 0, "---", "10.1.2.3", "localhost", )"
                   R"(NULL, NULL, NULL, "Fan2 failed."))"}));
  const auto runs = commands.wait_for(3);
  ASSERT_EQ(runs.size(), 3U);
  EXPECT_EQ(runs[0].input, R"({"type":1,"level":4,"message":"Fan2 failed."})");
  const bool recorder_last = is_recorder(runs[2]);
  EXPECT_EQ(runs[recorder_last ? 1 : 2].arguments,
            Row({kEvsh, "lumo.add_local_event_log", "level=4", "timestamp=1700000000", "user=---", "ip=10.1.2.3",
                 "computer=localhost", "application=---", "category=---", "message=Fan2 failed.", "client_id=---",
                 "client_app=---", "client_agent=---"}));
  EXPECT_EQ(runs[recorder_last ? 2 : 1].arguments, Row({kRecorderTool, "-t", "2", "-l", "1700000000", "-u", "---", "-p",
                                                        "10.1.2.3", "-m", "localhost", "-a", "Fan2 failed."}));
}

TEST_F(EventForwarding, ForwardsShorterRecordsToo) {
  const EventRecord full = full_record();
  EventRecordEx ex{};
  std::copy_n(reinterpret_cast<const char*>(&full), sizeof ex, reinterpret_cast<char*>(&ex));
  EventRecordMsgId msgid{};
  std::copy_n(reinterpret_cast<const char*>(&full), sizeof msgid, reinterpret_cast<char*>(&msgid));
  EventRecordBasic basic{};
  std::copy_n(reinterpret_cast<const char*>(&full), sizeof basic, reinterpret_cast<char*>(&basic));
  ASSERT_EQ(annal_event_add_msgid_ex2(&ex), ANNAL_OK);
  EXPECT_EQ(consumer_calls().size(), 3U);
  ASSERT_EQ(annal_event_add_msgid(&msgid), ANNAL_OK);
  EXPECT_EQ(consumer_calls().size(), 6U);
  ASSERT_EQ(annal_event_add(&basic), ANNAL_OK);
  EXPECT_EQ(consumer_calls().size(), 9U);
  EXPECT_EQ(commands.wait_for(9).size(), 9U);
}

// An event without a message is stored; only the log centre does not get it.
TEST_F(EventForwarding, SkipsTheLogCentreForAnEmptyMessage) {
  EventRecord record = full_record();
  put(record.event_desc, "");
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  EXPECT_EQ(consumer_calls().size(), 3U);
  const auto runs = commands.settled();
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0].input, R"({"type":1,"level":2,"message":""})");
  EXPECT_EQ(runs[1].arguments, Row({kRecorderTool, "-t", "1", "-l", "1705361400", "-u", "admin", "-p", "10.0.0.5", "-m",
                                    "nas-1", "-a", ""}));
}

struct Refusal {
  const char* name;
  int answer;
  void (*prepare)(EventRecord& record);
};

constexpr Refusal kRefusals[] = {
    {"WithoutATable", ANNAL_INSERT_FAILED, [](EventRecord&) { annal_event_remove_tbl(); }},
    {"WithARefusedInsert", ANNAL_INSERT_FAILED, [](EventRecord&) { SqliteTrace::fail("exec"); }},
    {"WithoutAFolder", ANNAL_OPEN_FAILED, [](EventRecord&) { remove_log_folder(); }},
    {"WithAnOverlongUser", ANNAL_TOO_LONG,
     [](EventRecord& record) { std::fill(std::begin(record.event_user), std::end(record.event_user), 'x'); }},
    {"WithAnUnknownType", ANNAL_BAD_ARGUMENT, [](EventRecord& record) { record.event_type = 3; }},
    {"WithoutMemory", ANNAL_NO_MEMORY, [](EventRecord&) { SqliteTrace::fail("mprintf"); }},
};

class EventForwardingRefusal : public EventForwarding, public testing::WithParamInterface<Refusal> {};
INSTANTIATE_TEST_SUITE_P(, EventForwardingRefusal, testing::ValuesIn(kRefusals), name_of<Refusal>);

TEST_P(EventForwardingRefusal, ForwardsNothing) {
  EventRecord record = full_record();
  GetParam().prepare(record);
  const ChildRecorder noted;
  EXPECT_EQ(annal_event_add_msgid_ex3(&record), GetParam().answer);
  EXPECT_EQ(consumer_calls(), Calls());
  EXPECT_TRUE(noted.calls().empty());
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(EventForwarding, ForwardsNothingWithoutARecord) {
  EXPECT_EQ(annal_event_add_msgid_ex3(nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(consumer_calls(), Calls());
  EXPECT_TRUE(commands.settled().empty());
}

// Ways in which a command fails.
struct Command {
  const char* name;
  void (*prepare)(const char* path);
};

constexpr Command kUseless[] = {
    {"Fails", [](const char* path) { Commands::install(path, {.exit_status = 7}); }},
    {"ReadsNothing", [](const char* path) { Commands::install(path, {.reads_input = false}); }},
    {"IsMissing", [](const char* path) { std::filesystem::remove(path); }},
    {"IsNotExecutable", [](const char* path) { chmod(path, 0644); }},
    {"IsAFolder",
     [](const char* path) {
       std::filesystem::remove(path);
       std::filesystem::create_directory(path);
     }},
    {"IsKilled", [](const char* path) { install_script(path, "#!/bin/sh\nkill -KILL $$\n"); }},
    {"HasNoInterpreter", [](const char* path) { install_script(path, "#!/missing/interpreter\n"); }},
};

class EventForwardingToACommandThat : public EventForwarding, public testing::WithParamInterface<Command> {};
INSTANTIATE_TEST_SUITE_P(, EventForwardingToACommandThat, testing::ValuesIn(kUseless), name_of<Command>);

TEST_P(EventForwardingToACommandThat, StoresAndForwardsTheEvent) {
  GetParam().prepare(kEvsh);
  GetParam().prepare(kRecorderTool);
  EventRecord record = full_record();
  EXPECT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM ANNAL_EVENT;"), "1");
  EXPECT_EQ(consumer_calls().size(), 3U);
  expect_no_child_left();
}

TEST_P(EventForwardingToACommandThat, SucceedsInDirectCalls) {
  GetParam().prepare(kEvsh);
  GetParam().prepare(kRecorderTool);
  const EventRecord record = full_record();
  EXPECT_EQ(annal_report_event(1, "Fan 2 failed."), ANNAL_OK);
  SendEventToLumod(&record);
  EXPECT_EQ(send_event_log_to_orca(&record, kMoment), ANNAL_OK);
  expect_no_child_left();
}

TEST_F(EventForwarding, IgnoresThePlatformsResults) {
  for (const char* function : {"SNMPTrap_Send_Alert", "SendEventToZSyslogd", "SendNoticeToLogEngine"}) {
    platform.answer(function, -1);
  }
  EventRecord record = full_record();
  EXPECT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  EXPECT_EQ(consumer_calls().size(), 3U);
  EXPECT_EQ(commands.wait_for(3).size(), 3U);
}

// ---- notification centre ----

class NotificationCentre : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    commands.install(kEvsh);
  }

  // The command's input, or a remark. The call has waited for the command.
  std::string input_for(unsigned type, const char* message) {
    commands.reset();
    EXPECT_EQ(annal_report_event(type, message), ANNAL_OK);
    const auto runs = commands.runs();
    if (runs.size() != 1U) {
      return "ran " + std::to_string(runs.size()) + " times";
    }
    EXPECT_EQ(runs[0].arguments, Row({kEvsh, "-0", "nc.send_message"}));
    return runs[0].input;
  }

  static std::string object_of(std::string_view escaped) {
    return R"({"type":1,"level":1,"message":")" + std::string(escaped) + "\"}";
  }
};

TEST_F(NotificationCentre, GetsEachLevel) {
  const std::pair<unsigned, const char*> levels[] = {
      {0, "1"},  {1, "2"},       {2, "4"},        {3, "0"},        {4, "0"},           {32, "0"},
      {33, "0"}, {INT_MAX, "0"}, {1U << 31, "0"}, {UINT_MAX, "0"}, {UINT_MAX - 1, "0"}};
  for (const auto& [type, level] : levels) {
    EXPECT_EQ(input_for(type, "Fan"), std::string(R"({"type":1,"level":)") + level + R"(,"message":"Fan"})") << type;
  }
}

struct Escaping {
  const char* message;
  const char* escaped;
};

TEST_F(NotificationCentre, GetsQuotesAndBackslashesEscaped) {
  constexpr Escaping kEscapings[] = {
      {R"(")", R"(\")"},          {R"(\)", R"(\\)"}, {R"(\")", R"(\\\")"}, {R"(say "C:\temp")", R"(say \"C:\\temp\")"},
      {R"(\\\\)", R"(\\\\\\\\)"},
  };
  for (const auto& [message, escaped] : kEscapings) {
    EXPECT_EQ(input_for(0, message), object_of(escaped));
  }
}

TEST_F(NotificationCentre, GetsOtherBytesUnchanged) {
  for (const char* message :
       {"two\nlines\n", "\t\r\b\f\x01\x1F\x7F", "grün \u2028 \U0001F4BE", "a/b 'c' $HOME `id` %s%n"}) {
    EXPECT_EQ(input_for(0, message), object_of(message));
  }
}

// Malformed texts too: the recording is byte by byte.
TEST_F(NotificationCentre, GetsEveryByte) {
  install_script(kEvsh, "#!/bin/sh\nexec cat >/etc/logs/input\n");
  std::string message;
  std::string escaped;
  for (int byte = 1; byte <= UCHAR_MAX; ++byte) {
    message += static_cast<char>(byte);
    escaped += byte == '"' || byte == '\\' ? "\\" : "";
    escaped += static_cast<char>(byte);
  }
  EXPECT_EQ(annal_report_event(0, message.c_str()), ANNAL_OK);
  EXPECT_EQ(content_of("/etc/logs/input"), object_of(escaped));
}

TEST_F(NotificationCentre, GetsAnEmptyMessage) {
  EXPECT_EQ(input_for(0, ""), object_of(""));
  EXPECT_EQ(input_for(0, nullptr), object_of(""));
}

TEST_F(NotificationCentre, GetsLongMessagesWhole) {
  for (const std::size_t length : {2048UL, 4060UL, 4096UL, 5000UL, 65536UL, 100000UL}) {
    const std::string message(length, 'x');
    EXPECT_TRUE(input_for(0, message.c_str()) == object_of(message)) << length;
  }
}

// An escape may straddle a buffer's end.
TEST_F(NotificationCentre, GetsLongEscapedMessagesWhole) {
  for (const char* shift : {"", "x"}) {
    std::string message = shift;
    std::string escaped = shift;
    for (int i = 0; i < 50000; ++i) {
      message += i % 2 == 0 ? '"' : '\\';
      escaped += i % 2 == 0 ? R"(\")" : R"(\\)";
    }
    EXPECT_TRUE(input_for(0, message.c_str()) == object_of(escaped)) << shift;
  }
}

TEST_F(NotificationCentre, DelaysTheCallerUntilItEnds) {
  commands.install(kEvsh, {.takes = 300ms});
  const auto started = steady_clock::now();
  EXPECT_EQ(annal_report_event(0, "Fan"), ANNAL_OK);
  EXPECT_GE(steady_clock::now() - started, 300ms);
  EXPECT_EQ(commands.runs().size(), 1U);
  expect_no_child_left();
}

TEST_F(NotificationCentre, DiscardsItsOutput) {
  EXPECT_EQ(annal_report_event(0, "Fan"), ANNAL_OK);
  const auto runs = commands.runs();
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].descriptors.at(STDOUT_FILENO), "w /dev/null");
  EXPECT_EQ(runs[0].descriptors.at(STDERR_FILENO), "w /dev/null");
  EXPECT_TRUE(runs[0].descriptors.at(STDIN_FILENO).starts_with("r pipe:")) << runs[0].descriptors.at(STDIN_FILENO);
}

TEST_F(NotificationCentre, RunsInTheCallersSession) {
  EXPECT_EQ(annal_report_event(0, "Fan"), ANNAL_OK);
  const auto runs = commands.runs();
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].session, getsid(0));
  EXPECT_EQ(runs[0].group, getpgrp());
}

TEST_F(NotificationCentre, InheritsNoDescriptorOfTheLibrary) {
  const std::set<int> before = inheritable_descriptors();
  EXPECT_EQ(annal_report_event(0, "Fan"), ANNAL_OK);
  const auto runs = commands.runs();
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(further_descriptors(runs[0]), before);
  EXPECT_EQ(inheritable_descriptors(), before);
}

// ---- log centre ----

class LogCentre : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    commands.install(kEvsh);
    for (const char* variable : {"HTTP_CLIENT_ID", "HTTP_CLIENT_APP", "HTTP_CLIENT_AGENT"}) {
      unsetenv(variable);
    }
  }

  CommandRun run_for(const EventRecord& record) {
    commands.reset();
    SendEventToLumod(&record);
    const auto runs = commands.wait_for(1);
    EXPECT_EQ(runs.size(), 1U);
    return runs.empty() ? CommandRun() : runs[0];
  }

  Row vector_for(const EventRecord& record) { return run_for(record).arguments; }
};

TEST_F(LogCentre, GetsAFullRecord) {
  const EventRecord record = full_record();
  EXPECT_EQ(vector_for(record), full_vector());
}

TEST_F(LogCentre, GetsTheLongestTexts) {
  EventRecord record = full_record();
  put(record.event_user, std::string(64, 'u'));
  put(record.event_ip, std::string(64, 'i'));
  put(record.event_comp, std::string(64, 'c'));
  put(record.event_app_name, std::string(128, 'n'));
  put(record.event_category, std::string(128, 'k'));
  put(record.event_desc, std::string(2048, 'd'));
  put(record.event_client_id, std::string(64, 'l'));
  put(record.event_client_app, std::string(128, 'a'));
  put(record.event_client_agent, std::string(255, 'g'));
  EXPECT_EQ(vector_for(record),
            Row({kEvsh, "lumo.add_local_event_log", "level=2", "timestamp=1705361400", "user=" + std::string(64, 'u'),
                 "ip=" + std::string(64, 'i'), "computer=" + std::string(64, 'c'),
                 "application=" + std::string(128, 'n'), "category=" + std::string(128, 'k'),
                 "message=" + std::string(2048, 'd'), "client_id=" + std::string(64, 'l'),
                 "client_app=" + std::string(128, 'a'), "client_agent=" + std::string(255, 'g')}));
}

TEST_F(LogCentre, GetsTextsAsTheyAre) {
  EventRecord record = full_record();
  put(record.event_desc, "two\nlines, 'quoted' %s%n\t; grün");
  const Row vector = vector_for(record);
  ASSERT_GT(vector.size(), 9U);
  EXPECT_EQ(vector[9], "message=two\nlines, 'quoted' %s%n\t; grün");
}

struct OmittedField {
  const char* key;
  char* (*field)(EventRecord& record);
};

constexpr OmittedField kOmissions[] = {
    {"user", [](EventRecord& record) { return record.event_user; }},
    {"ip", [](EventRecord& record) { return record.event_ip; }},
    {"computer", [](EventRecord& record) { return record.event_comp; }},
    {"application", [](EventRecord& record) { return record.event_app_name; }},
    {"category", [](EventRecord& record) { return record.event_category; }},
    {"client_id", [](EventRecord& record) { return record.event_client_id; }},
    {"client_app", [](EventRecord& record) { return record.event_client_app; }},
    {"client_agent", [](EventRecord& record) { return record.event_client_agent; }},
};

TEST_F(LogCentre, GetsNothingForAnEmptyField) {
  for (const auto& [key, field] : kOmissions) {
    EventRecord record = full_record();
    *field(record) = '\0';
    EXPECT_EQ(vector_for(record), without(full_vector(), std::string(key) + "="));
  }
}

TEST_F(LogCentre, AlwaysGetsTheLevelAndTheMessage) {
  EventRecord record{};
  put(record.event_desc, "x");
  EXPECT_EQ(vector_for(record), Row({kEvsh, "lumo.add_local_event_log", "level=1", "message=x"}));
}

TEST_F(LogCentre, GetsEachLevel) {
  const std::pair<int, const char*> levels[] = {
      {0, "1"},
      {1, "2"},
      {2, "4"},
      {3, "8"},
      {30, "1073741824"},
      {31, "-2147483648"},
      {32, "1"},
      {33, "2"},
      {-1, "-2147483648"},
      {-31, "2"},
      {INT_MAX, "-2147483648"},
      {INT_MIN, "1"},
  };
  for (const auto& [type, level] : levels) {
    EventRecord record = full_record();
    record.event_type = type;
    EXPECT_EQ(vector_for(record)[2], std::string("level=") + level) << type;
  }
}

TEST_F(LogCentre, GetsTheTimeStampAsA32BitNumber) {
  const std::pair<std::int64_t, const char*> moments[] = {{1, "1"},
                                                          {-1, "-1"},
                                                          {INT32_MAX, "2147483647"},
                                                          {std::int64_t{INT32_MAX} + 1, "-2147483648"},
                                                          {UINT32_MAX, "-1"},
                                                          {std::int64_t{1} << 32, "0"},
                                                          {(std::int64_t{1} << 32) + 5, "5"},
                                                          {INT64_MAX, "-1"},
                                                          {INT64_MIN, "0"}};
  for (const auto& [moment, text] : moments) {
    EventRecord record = full_record();
    record.event_timet = moment;
    EXPECT_EQ(vector_for(record)[3], std::string("timestamp=") + text) << moment;
  }
}

TEST_F(LogCentre, GetsNoTimeStampForAnEventWithoutOne) {
  EventRecord record = full_record();
  record.event_timet = 0;
  EXPECT_EQ(vector_for(record), without(full_vector(), "timestamp="));
}

// A detail of the client, its environment variable, and its place in the arguments.
struct Detail {
  const char* name;
  const char* variable;
  char* (*field)(EventRecord& record);
  std::size_t place;
};

constexpr Detail kDetails[] = {
    {"client_id", "HTTP_CLIENT_ID", [](EventRecord& record) { return record.event_client_id; }, 10},
    {"client_app", "HTTP_CLIENT_APP", [](EventRecord& record) { return record.event_client_app; }, 11},
    {"client_agent", "HTTP_CLIENT_AGENT", [](EventRecord& record) { return record.event_client_agent; }, 12},
};

class LogCentreDetail : public LogCentre, public testing::WithParamInterface<Detail> {
 protected:
  void TearDown() override {
    unsetenv(GetParam().variable);
    LogCentre::TearDown();
  }
};
INSTANTIATE_TEST_SUITE_P(, LogCentreDetail, testing::ValuesIn(kDetails), name_of<Detail>);

TEST_P(LogCentreDetail, ComesFromTheRecordFirst) {
  setenv(GetParam().variable, "of the web server", 1);
  const EventRecord record = full_record();
  EXPECT_EQ(vector_for(record), full_vector());
}

TEST_P(LogCentreDetail, ComesFromTheWebServerOtherwise) {
  setenv(GetParam().variable, "of the web server", 1);
  EventRecord record = full_record();
  *GetParam().field(record) = '\0';
  Row expected = full_vector();
  expected[GetParam().place] = std::string(GetParam().name) + "=of the web server";
  EXPECT_EQ(vector_for(record), expected);
}

TEST_P(LogCentreDetail, MayBeEmptyAtTheWebServer) {
  setenv(GetParam().variable, "", 1);
  EventRecord record = full_record();
  *GetParam().field(record) = '\0';
  Row expected = full_vector();
  expected[GetParam().place] = std::string(GetParam().name) + "=";
  EXPECT_EQ(vector_for(record), expected);
}

TEST_P(LogCentreDetail, DoesNotInterpretPercentSigns) {
  setenv(GetParam().variable, "%s%n%d", 1);
  EventRecord record = full_record();
  *GetParam().field(record) = '\0';
  EXPECT_EQ(vector_for(record)[GetParam().place], std::string(GetParam().name) + "=%s%n%d");
}

// At the end of readable memory.
TEST_F(LogCentre, GetsNothingAfterTheEndOfAnUnterminatedRecord) {
  RecordAtTheEnd<EventRecord> record;
  *record = full_record();
  std::memset((*record).event_client_app, 'a', sizeof(EventRecord) - offsetof(EventRecord, event_client_app));
  Row expected = full_vector();
  const std::string agent(sizeof EventRecord::event_client_agent, 'a');
  expected[11] = "client_app=" + std::string(sizeof EventRecord::event_client_app, 'a') + agent;
  expected[12] = "client_agent=" + agent;
  EXPECT_EQ(vector_for(*record), expected);
}

TEST_F(LogCentre, GetsNothingWithoutAMessage) {
  EventRecord record = full_record();
  record.event_desc[0] = '\0';
  const ChildRecorder noted;
  SendEventToLumod(&record);
  SendEventToLumod(nullptr);
  EXPECT_TRUE(noted.calls().empty());
  EXPECT_TRUE(commands.settled().empty());
}

// The length of the web server's text, and the three resulting details. A text and its terminator exactly fill the room
// left by the command, the level and the message.
class LogCentreRoom : public LogCentre {
 protected:
  static constexpr std::size_t kLeft = kTextRoom - sizeof "/usr/local/sbin/evsh" - sizeof "lumo.add_local_event_log" -
                                       sizeof "level=1" - sizeof "message=x";

  void TearDown() override {
    for (const char* variable : {"HTTP_CLIENT_ID", "HTTP_CLIENT_APP", "HTTP_CLIENT_AGENT"}) {
      unsetenv(variable);
    }
    LogCentre::TearDown();
  }

  static std::string text_of(const char* key, std::size_t length) {
    const std::string head = std::string(key) + "=";
    return head + std::string(length - head.size(), 'c');
  }

  // The three details if the first one's text has this length before it is cut.
  Row details_for(std::size_t length) {
    setenv("HTTP_CLIENT_ID", text_of("", length - std::string_view("client_id").size()).substr(1).c_str(), 1);
    setenv("HTTP_CLIENT_APP", "app", 1);
    setenv("HTTP_CLIENT_AGENT", "agent", 1);
    EventRecord record{};
    put(record.event_desc, "x");
    const Row vector = vector_for(record);
    EXPECT_EQ(vector.size(), 7U);
    EXPECT_EQ(Row(vector.begin(), vector.begin() + 4),
              Row({kEvsh, "lumo.add_local_event_log", "level=1", "message=x"}));
    return {vector.begin() + 4, vector.end()};
  }
};

TEST_F(LogCentreRoom, CutsATextThatDoesNotFit) {
  for (const std::size_t length : {kLeft, kLeft + 1, 2 * kLeft, std::size_t{100000}}) {
    EXPECT_EQ(details_for(length), Row({text_of("client_id", kLeft - 1), "", ""})) << length;
  }
}

TEST_F(LogCentreRoom, KeepsATextThatJustFits) {
  EXPECT_EQ(details_for(kLeft - 1), Row({text_of("client_id", kLeft - 1), "", ""}));
}

TEST_F(LogCentreRoom, LeavesTheRestToTheNextText) {
  EXPECT_EQ(details_for(kLeft - 2), Row({text_of("client_id", kLeft - 2), "", ""}));
  EXPECT_EQ(details_for(kLeft - 3), Row({text_of("client_id", kLeft - 3), "c", ""}));
  EXPECT_EQ(details_for(kLeft - 8), Row({text_of("client_id", kLeft - 8), "client", ""}));
  const std::size_t app = sizeof "client_app=app";
  EXPECT_EQ(details_for(kLeft - 1 - app), Row({text_of("client_id", kLeft - 1 - app), "client_app=app", ""}));
  EXPECT_EQ(details_for(kLeft - 3 - app), Row({text_of("client_id", kLeft - 3 - app), "client_app=app", "c"}));
  const std::size_t both = app + sizeof "client_agent=agent";
  EXPECT_EQ(details_for(kLeft - 1 - both),
            Row({text_of("client_id", kLeft - 1 - both), "client_app=app", "client_agent=agent"}));
}

TEST_F(LogCentre, IsConnectedToTheNullDevice) {
  const CommandRun run = run_for(full_record());
  EXPECT_EQ(standard_descriptors(run), (Descriptors{{0, "r /dev/null"}, {1, "w /dev/null"}, {2, "w /dev/null"}}));
  EXPECT_EQ(run.input, "");
}

TEST_F(LogCentre, RunsInTheCallersSession) {
  const CommandRun run = run_for(full_record());
  EXPECT_EQ(run.session, getsid(0));
  EXPECT_EQ(run.group, getpgrp());
}

// ---- recorder ----

class Recorder : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    commands.install(kRecorderInstalled);
    commands.install(kRecorderTool);
  }

  CommandRun run_for(const EventRecord& record, unsigned long timestamp) {
    commands.reset();
    EXPECT_EQ(send_event_log_to_orca(&record, timestamp), ANNAL_OK);
    const auto runs = commands.wait_for(1);
    EXPECT_EQ(runs.size(), 1U);
    return runs.empty() ? CommandRun() : runs[0];
  }

  void expect_nothing_started() {
    const EventRecord record = full_record();
    const ChildRecorder noted;
    EXPECT_EQ(send_event_log_to_orca(&record, kMoment), ANNAL_OK);
    EXPECT_TRUE(noted.calls().empty());
    EXPECT_TRUE(commands.settled().empty());
  }
};

TEST_F(Recorder, GetsAFullRecord) {
  const CommandRun run = run_for(full_record(), 77);
  EXPECT_TRUE(run.path.ends_with("/sbin/orcapro_log_tool")) << run.path;
  EXPECT_EQ(run.arguments, Row({kRecorderTool, "-t", "1", "-l", "77", "-u", "admin", "-p", "10.0.0.5", "-m", "nas-1",
                                "-a", "Fan \"2\" failed: 100%s \\ $HOME."}));
}

TEST_F(Recorder, GetsNothingAfterTheEndOfAnUnterminatedRecord) {
  RecordAtTheEnd<EventRecord> record;
  *record = full_record();
  constexpr std::size_t kDesc = offsetof(EventRecord, event_desc);
  std::memset((*record).event_desc, 'm', sizeof(EventRecord) - kDesc);
  constexpr std::size_t kEnd = offsetof(EventRecord, event_client_agent) + sizeof EventRecord::event_client_agent;
  EXPECT_EQ(run_for(*record, 77).arguments.back(), std::string(kEnd - kDesc, 'm'));
}

TEST_F(Recorder, GetsEmptyTexts) {
  EXPECT_EQ(run_for(EventRecord{}, 0).arguments,
            Row({kRecorderTool, "-t", "0", "-l", "0", "-u", "", "-p", "", "-m", "", "-a", ""}));
}

TEST_F(Recorder, GetsTheTypeAsItIs) {
  for (const int type : {0, 1, 2, 3, -1, INT_MAX, INT_MIN}) {
    EventRecord record = full_record();
    record.event_type = type;
    EXPECT_EQ(run_for(record, 0).arguments[2], std::to_string(type));
  }
}

TEST_F(Recorder, GetsTheWholeTimeStamp) {
  for (const unsigned long timestamp : {1UL, 0x80000000UL, ULONG_MAX - 1, ULONG_MAX}) {
    EXPECT_EQ(run_for(full_record(), timestamp).arguments[4], std::to_string(timestamp));
  }
}

TEST_F(Recorder, GetsTheLongestTexts) {
  EventRecord record{};
  put(record.event_user, std::string(64, 'u'));
  put(record.event_ip, std::string(64, 'i'));
  put(record.event_comp, std::string(64, 'c'));
  put(record.event_desc, std::string(2048, 'd'));
  EXPECT_EQ(run_for(record, 1).arguments,
            Row({kRecorderTool, "-t", "0", "-l", "1", "-u", std::string(64, 'u'), "-p", std::string(64, 'i'), "-m",
                 std::string(64, 'c'), "-a", std::string(2048, 'd')}));
}

TEST_F(Recorder, IsSkippedWithoutItsConnectionTool) {
  std::filesystem::remove(kRecorderInstalled);
  expect_nothing_started();
}

TEST_F(Recorder, IsSkippedIfItsConnectionToolIsADanglingLink) {
  std::filesystem::remove(kRecorderInstalled);
  std::filesystem::create_symlink("/sbin/missing", kRecorderInstalled);
  expect_nothing_started();
}

// It only has to exist.
TEST_F(Recorder, NeedsNoWorkingConnectionTool) {
  std::filesystem::remove(kRecorderInstalled);
  std::filesystem::create_directory(kRecorderInstalled);
  chmod(kRecorderInstalled, 0);
  EXPECT_EQ(run_for(full_record(), 1).arguments[0], kRecorderTool);
}

TEST_F(Recorder, IsSkippedWithoutItsLogTool) {
  std::filesystem::remove(kRecorderTool);
  const EventRecord record = full_record();
  EXPECT_EQ(send_event_log_to_orca(&record, kMoment), ANNAL_OK);
  EXPECT_TRUE(commands.settled().empty());
  expect_no_child_left();
}

TEST_F(Recorder, GetsNothingWithoutARecord) {
  EXPECT_EQ(send_event_log_to_orca(nullptr, kMoment), ANNAL_OK);
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(Recorder, IsConnectedToTheNullDevice) {
  const CommandRun run = run_for(full_record(), 1);
  EXPECT_EQ(standard_descriptors(run), (Descriptors{{0, "rw /dev/null"}, {1, "rw /dev/null"}, {2, "rw /dev/null"}}));
}

TEST_F(Recorder, HasASessionOfItsOwn) {
  const CommandRun run = run_for(full_record(), 1);
  EXPECT_EQ(run.session, run.process);
  EXPECT_EQ(run.group, run.process);
}

// ---- both detached commands ----

void send_to_log_centre() {
  const EventRecord record = full_record();
  SendEventToLumod(&record);
}

void send_to_recorder() {
  const EventRecord record = full_record();
  EXPECT_EQ(send_event_log_to_orca(&record, kMoment), ANNAL_OK);
}

struct Destination {
  const char* name;
  const char* command;
  void (*send)();
};

constexpr Destination kDestinations[] = {
    {"LogCentre", kEvsh, send_to_log_centre},
    {"Recorder", kRecorderTool, send_to_recorder},
};

class DetachedCommand : public ApplianceTest, public testing::WithParamInterface<Destination> {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    install_everything();
  }
};
INSTANTIATE_TEST_SUITE_P(, DetachedCommand, testing::ValuesIn(kDestinations), name_of<Destination>);

TEST_P(DetachedCommand, IsNotWaitedFor) {
  commands.install(GetParam().command, {.takes = 3s});
  const auto started = steady_clock::now();
  GetParam().send();
  EXPECT_LT(steady_clock::now() - started, 2s);
  EXPECT_EQ(commands.wait_for(1).size(), 1U);
}

TEST_P(DetachedCommand, IsNotTheCallersChild) {
  commands.install(GetParam().command, {.takes = 100ms});
  GetParam().send();
  expect_no_child_left();
  const auto runs = commands.wait_for(1);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_NE(runs[0].parent, getpid());
  expect_no_child_left();
}

// Its parent exits with 0 whatever happens to it.
TEST_P(DetachedCommand, HasAParentThatExitsWithZero) {
  {
    const ChildRecorder noted;
    GetParam().send();
    EXPECT_EQ(noted.statuses(), std::vector<int>{0});
  }
  std::filesystem::remove(GetParam().command);
  const ChildRecorder noted;
  GetParam().send();
  EXPECT_EQ(noted.statuses(), std::vector<int>{0});
}

TEST_P(DetachedCommand, InheritsNoDescriptorOfTheLibrary) {
  const std::set<int> before = inheritable_descriptors();
  GetParam().send();
  const auto runs = commands.wait_for(1);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(further_descriptors(runs[0]), before);
  EXPECT_EQ(inheritable_descriptors(), before);
}

TEST_P(DetachedCommand, InheritsTheCallersDescriptors) {
  const int kept = open("/etc/passwd", O_RDONLY);
  const int hidden = open("/etc/passwd", O_RDONLY | O_CLOEXEC);
  GetParam().send();
  const auto runs = commands.wait_for(1);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_TRUE(runs[0].descriptors.contains(kept));
  EXPECT_FALSE(runs[0].descriptors.contains(hidden));
  close(kept);
  close(hidden);
}

TEST_P(DetachedCommand, HasTheCallersEnvironment) {
  setenv("LEFT_BY_THE_CALLER", "yes", 1);
  GetParam().send();
  const auto runs = commands.wait_for(1);
  unsetenv("LEFT_BY_THE_CALLER");
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].environment.at("LEFT_BY_THE_CALLER"), "yes");
}

// A notification that its command has not read yet: if a command inherited the pipe, the first would never see its end.
TEST_P(DetachedCommand, DoesNotDelayANotification) {
  install_script(kEvsh,
                 "#!/bin/sh\n"
                 "if [ \"$1\" = -0 ]; then\n"
                 "  : >/etc/logs/waiting\n"
                 "  while [ ! -e /etc/logs/go ]; do sleep 0.01; done\n"
                 "fi\n"
                 "exec /usr/local/sbin/reader \"$@\"\n");
  commands.install("/usr/local/sbin/reader");
  const std::set<int> before = inheritable_descriptors();
  std::thread notification([] { annal_report_event(0, std::string(100000, 'x').c_str()); });
  while (!exists("/etc/logs/waiting")) {
    std::this_thread::sleep_for(1ms);
  }
  GetParam().send();
  const auto runs = commands.wait_for(1);
  std::ofstream("/etc/logs/go") << "";
  notification.join();
  ASSERT_EQ(runs.size(), 1U);
  // A shell may keep the script open that it runs.
  Descriptors further = runs[0].descriptors;
  std::erase_if(further, [&](const auto& entry) {
    return entry.first <= STDERR_FILENO || before.contains(entry.first) || entry.second == std::string("r ") + kEvsh;
  });
  EXPECT_EQ(further, Descriptors());
}

TEST_F(EventForwarding, LetsNoCommandInheritTheLog) {
  const std::set<int> before = inheritable_descriptors();
  EventRecord record = full_record();
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
  const auto runs = commands.wait_for(3);
  ASSERT_EQ(runs.size(), 3U);
  for (const CommandRun& run : runs) {
    EXPECT_EQ(further_descriptors(run), before) << run.path;
  }
  expect_no_child_left();
}

}  // namespace
}  // namespace annal::test
