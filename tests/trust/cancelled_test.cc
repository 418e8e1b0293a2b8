// A thread cancelled during a call ends only after the call, which finishes its work and releases everything.
#include <gtest/gtest.h>
#include <pthread.h>

#include <filesystem>
#include <functional>
#include <iterator>
#include <string>

#include "Corix_annal.h"
#include "tests/support/appliance.h"
#include "tests/support/forwarding.h"
#include "tests/trust/harness/log_state.h"
#include "tests/trust/harness/scenarios.h"

namespace annal::test {
namespace {

constexpr const char* kCommands[] = {"/usr/local/sbin/evsh", "/usr/local/sbin/notify", "/sbin/orcapro_conn_log_tool",
                                     "/sbin/orcapro_log_tool"};

constexpr const char* kPlatformsConsumers[] = {"SNMPTrap_Send_Alert", "SendEventToZSyslogd", "SendNoticeToLogEngine",
                                               "SendConnToZSyslogd", "zeno_exec_v"};

int cancel_state() {
  int state = PTHREAD_CANCEL_ENABLE;
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &state);
  pthread_setcancelstate(state, nullptr);
  return state;
}

// A cancelled thread's work, and how far it got.
struct Cancelled {
  const std::function<void()>& work;
  bool done = false;
  int state_afterwards = -1;

  static void* run(void* argument) {
    auto& self = *static_cast<Cancelled*>(argument);
    pthread_cancel(pthread_self());
    self.work();
    self.done = true;
    self.state_afterwards = cancel_state();
    pthread_testcancel();
    return nullptr;
  }
};

void expect_done_before_the_end(const std::function<void()>& work) {
  Cancelled thread{work};
  pthread_t id{};
  ASSERT_EQ(pthread_create(&id, nullptr, &Cancelled::run, &thread), 0);
  void* result = nullptr;
  ASSERT_EQ(pthread_join(id, &result), 0);
  EXPECT_TRUE(thread.done) << "the thread has ended in the call";
  EXPECT_EQ(result, PTHREAD_CANCELED);
  if (thread.done) {
    EXPECT_EQ(thread.state_afterwards, PTHREAD_CANCEL_ENABLE);
  }
}

std::ptrdiff_t open_files() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

class CancelledThread : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    for (const char* command : kCommands) {
      commands.install(command);
    }
    Clock::stop_at(1768478400);
    for (const char* function : kPlatformsConsumers) {
      PlatformRecorder::meanwhile(function, &pthread_testcancel);
    }
  }
};

class CancelledThreadIn : public CancelledThread, public testing::WithParamInterface<Scenario> {};
INSTANTIATE_TEST_SUITE_P(, CancelledThreadIn, testing::ValuesIn(scenarios()),
                         [](const testing::TestParamInfo<Scenario>& tested) { return name_of(tested.param); });

// Only counts rows: SQLite stamps connections with the time of day.
Content content_after(const Scenario& scenario) {
  return scenario.log == Log::kNone ? Content() : content_of(path_of(scenario.log));
}

TEST_P(CancelledThreadIn, EndsAfterTheCall) {
  const Scenario& scenario = GetParam();
  const std::string log = path_of(scenario.log);
  set_up(scenario.log, scenario.start);
  const Image before = Image::of(log);
  std::string expected_output;
  const int expected = scenario.call(expected_output);
  const Content expected_content = content_after(scenario);

  before.put_back(log);
  const std::ptrdiff_t files = open_files();
  std::string output;
  int result = -1000;
  expect_done_before_the_end([&] { result = scenario.call(output); });
  EXPECT_EQ(result, expected);
  EXPECT_EQ(output, expected_output);
  EXPECT_EQ(open_files(), files);
  const Content content = content_after(scenario);
  EXPECT_EQ(content.schema, expected_content.schema);
  EXPECT_EQ(content.rows.size(), expected_content.rows.size());
  expect_no_child_left();
}

// ---- the caller's own code ----

int state_in_callback = -1;

int note_state(void* /*context*/, int /*columns*/, char** /*values*/, char** /*names*/) {
  state_in_callback = cancel_state();
  pthread_testcancel();
  return 0;
}

TEST_F(CancelledThread, FinishesItsCallback) {
  set_up(Log::kEvents, Start::kFilled);
  state_in_callback = -1;
  expect_done_before_the_end([] { EXPECT_EQ(annal_event_query(&note_state, 0, 0, 0, 0, nullptr), ANNAL_OK); });
  EXPECT_EQ(state_in_callback, PTHREAD_CANCEL_DISABLE);
}

TEST_F(CancelledThread, KeepsItsCancellationDisabled) {
  set_up(Log::kEvents, Start::kFilled);
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
  EXPECT_EQ(annal_event_query_count(0), 3);
  auto event = an_event<EventRecord>("kept");
  EXPECT_EQ(annal_event_add_msgid_ex3(&event), ANNAL_OK);
  EXPECT_EQ(cancel_state(), PTHREAD_CANCEL_DISABLE);
  pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
}

}  // namespace
}  // namespace annal::test
