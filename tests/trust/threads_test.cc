// Threads of one process call the library at once. Each call must behave as if it were alone, and every entry and
// command must belong to its caller. ./dev threads also looks for data races in these tests.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <concepts>
#include <csignal>
#include <cstdio>
#include <functional>
#include <latch>
#include <map>
#include <ostream>
#include <random>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "Corix_annal.h"
#include "common/paths.h"
#include "tests/support/appliance.h"
#include "tests/support/forwarding.h"
#include "tests/trust/harness/log_state.h"
#include "tests/trust/harness/scenarios.h"

namespace annal::test {
namespace {

constexpr std::size_t kThreads = 8;

void in_many_threads(const std::function<void(std::size_t)>& work) {
  std::latch all_there(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < kThreads; ++i) {
    threads.emplace_back([&, i] {
      all_there.arrive_and_wait();
      work(i);
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

// Each row of the tables below has a name.
template <typename Row>
concept Named = std::same_as<decltype(Row::name), const char*>;

void PrintTo(const Named auto& row, std::ostream* out) {
  *out << row.name;
}

template <Named Row>
std::string name_of_row(const testing::TestParamInfo<Row>& row) {
  return row.param.name;
}

// ---- every function ----

struct CalledLog {
  const char* name;
  Log log;
};

constexpr CalledLog kCalledLogs[] = {{"Events", Log::kEvents},
                                     {"Connections", Log::kConnections},
                                     {"FileOperations", Log::kFileOperations},
                                     {"Notices", Log::kNotices}};

class FunctionsInManyThreads : public ApplianceTest, public testing::WithParamInterface<CalledLog> {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    set_up(log_, Start::kFilled);
  }

  const Log log_ = GetParam().log;
};
INSTANTIATE_TEST_SUITE_P(, FunctionsInManyThreads, testing::ValuesIn(kCalledLogs), name_of_row<CalledLog>);

bool is_among(int result, const std::vector<int>& codes) {
  return std::find(codes.begin(), codes.end(), result) != codes.end();
}

// A call sees the log as the other threads left it, so it may find any number of entries, or fail.
void expect_documented(const Scenario& scenario) {
  std::string output;
  const int result = scenario.call(output);
  EXPECT_TRUE(result >= 0 || result == scenario.success || is_among(result, scenario.failures) ||
              is_among(result, scenario.partial_failures))
      << name_of(scenario) << " answers " << result;
}

bool is(const Scenario& scenario, std::string_view end_of_name) {
  return std::string_view(scenario.function).ends_with(end_of_name);
}

TEST_P(FunctionsInManyThreads, ReturnADocumentedResult) {
  std::vector<const Scenario*> calls;
  const Scenario* creation = nullptr;
  for (const Scenario& scenario : scenarios()) {
    // It changes the environment, which no other thread may use meanwhile.
    const bool alone = is(scenario, "annal_notice_send");
    if ((scenario.log == log_ || scenario.log == Log::kNone) && !alone) {
      calls.push_back(&scenario);
      creation = scenario.log == log_ && is(scenario, "_create_tbl") ? &scenario : creation;
    }
  }
  ASSERT_NE(creation, nullptr);
  in_many_threads([&](std::size_t thread) {
    std::vector<const Scenario*> order = calls;
    std::shuffle(order.begin(), order.end(), std::minstd_rand(static_cast<unsigned>(thread)));
    for (const Scenario* scenario : order) {
      expect_documented(*scenario);
      if (is(*scenario, "_remove_tbl")) {
        expect_documented(*creation);  // otherwise most calls would find no table
      }
    }
  });
  EXPECT_NO_THROW(content_of(path_of(log_)));  // throws if the file is damaged
  expect_no_child_left();
}

TEST_P(FunctionsInManyThreads, DeliverTheSameRowsToEachThread) {
  constexpr int kRounds = 3;
  struct Query {
    const Scenario* scenario;
    std::string output;
    int result;
  };
  std::vector<Query> queries;
  for (const Scenario& scenario : scenarios()) {
    if (scenario.log == log_ && is_among(ANNAL_QUERY_FAILED, scenario.failures)) {
      Query& query = queries.emplace_back(Query{&scenario, {}, 0});
      query.result = scenario.call(query.output);
      ASSERT_GE(query.result, 0) << name_of(scenario);
    }
  }
  ASSERT_FALSE(queries.empty());
  in_many_threads([&](std::size_t thread) {
    for (std::size_t i = 0; i < kRounds * queries.size(); ++i) {
      const Query& query = queries[(thread + i) % queries.size()];
      std::string output;
      EXPECT_EQ(query.scenario->call(output), query.result) << name_of(*query.scenario);
      EXPECT_EQ(output, query.output) << name_of(*query.scenario);
    }
  });
}

// ---- entries ----

// A unique text for one entry or command.
std::string own_text(std::size_t thread, int number) {
  return "<" + std::to_string(thread) + "." + std::to_string(number) + ">";
}

constexpr int kBatch = 3;

std::array<ConnRecord, kBatch> batch_of(const std::string& text) {
  std::array<ConnRecord, kBatch> records{};
  for (std::size_t i = 0; i < records.size(); ++i) {
    records[i] = a_connection<ConnRecord>((text + "+" + std::to_string(i)).c_str());
  }
  return records;
}

struct AddFunction {
  const char* name;
  const char* path;
  int (*create)();
  int (*add)(const std::string& text);  // the number of entries reported as stored
  const char* column;
  const char* table;
};

const AddFunction kAdditions[] = {
    {"Events", kEventLog, [] { return annal_event_create_tbl(0, 0); },
     [](const std::string& text) {
       auto record = an_event<EventRecord>(text.c_str());
       return annal_event_add_msgid_ex3(&record) == ANNAL_OK ? 1 : 0;
     },
     "event_desc", "ANNAL_EVENT"},
    {"Connections", kConnLog, [] { return annal_conn_create_tbl(0, 0); },
     [](const std::string& text) {
       auto record = a_connection<ConnRecord>(text.c_str());
       return annal_conn_add2(&record) == ANNAL_OK ? 1 : 0;
     },
     "conn_res", "ANNAL_CONN"},
    {"BatchesOfConnections", kConnLog, [] { return annal_conn_create_tbl(0, 0); },
     [](const std::string& text) {
       auto records = batch_of(text);
       int inserted = 0;
       EXPECT_EQ(annal_conn_add_entries2(records.data(), kBatch, &inserted), ANNAL_OK);
       return inserted;
     },
     "conn_res", "ANNAL_CONN"},
    {"FileOperations", kFileOpLog, [] { return pavo2log_event_create_tbl(kFileOpLog, 0, 0); },
     [](const std::string& text) {
       FileOpRecord record = a_file_operation(text.c_str());
       record.event_tm = {};  // now
       return pavo2log_event_add(kFileOpLog, &record) > 0 ? 1 : 0;
     },
     "event_filepath", "pavo2log_event"},
    {"Notices", kNoticeLog, [] { return annal_notice_create_tbl(0, 0); },
     [](const std::string& text) {
       NoticeRecord record = a_notice(text.c_str());
       return annal_notice_add(&record) == ANNAL_OK ? 1 : 0;
     },
     "desc", "ANNAL_NOTICE"},
};

class EntriesOfManyThreads : public ApplianceTest, public testing::WithParamInterface<AddFunction> {};
INSTANTIATE_TEST_SUITE_P(, EntriesOfManyThreads, testing::ValuesIn(kAdditions), name_of_row<AddFunction>);

TEST_P(EntriesOfManyThreads, AreStoredExactlyOnce) {
  constexpr int kCalls = 4;
  const AddFunction& log = GetParam();
  ASSERT_EQ(log.create(), ANNAL_OK);
  std::atomic<int> acknowledged = 0;
  in_many_threads([&](std::size_t thread) {
    for (int call = 0; call < kCalls; ++call) {
      acknowledged += log.add(own_text(thread, call));
    }
  });
  EXPECT_GE(acknowledged, static_cast<int>(kThreads) * kCalls);
  const std::string all = std::to_string(acknowledged);
  EXPECT_EQ(sql(log.path, std::string("SELECT COUNT(*), COUNT(DISTINCT ") + log.column + ") FROM " + log.table),
            (Rows{{all, all}}));
}

// ---- commands ----

struct CommandFunction {
  const char* name;
  void (*send)(const char* text);
  std::set<std::string> commands;
};

constexpr const char* kNotify = "/usr/local/sbin/notify";
constexpr const char* kConnRecorder = "/sbin/orcapro_conn_log_tool";
constexpr const char* kEventRecorder = "/sbin/orcapro_log_tool";

const CommandFunction kSendings[] = {
    {"NotificationCentre", [](const char* text) { annal_report_event(1, text); }, {kEvsh}},
    {"LogCentre",
     [](const char* text) {
       const auto record = an_event<EventRecord>(text);
       SendEventToLumod(&record);
     },
     {kEvsh}},
    {"RecorderOfEvents",
     [](const char* text) {
       const auto record = an_event<EventRecord>(text);
       send_event_log_to_orca(&record, 1);
     },
     {kEventRecorder}},
    {"RecorderOfConnections",
     [](const char* text) { send_conn_log_to_orca(1, text, text, text, 2, 9, text); },
     {kConnRecorder}},
    {"SubmissionOfConnections",
     [](const char* text) {
       auto record = a_connection<ConnRecord>(text);
       annal_conn_add2(&record);
     },
     {kEvsh, kConnRecorder}},
    {"NotificationCommand",
     [](const char* text) {
       const CatalogEntry entry{"A011", 4, "C001", "7", text};
       notify_send(/* ip= */ "10.0.0.5", text, text, /* client_id= */ "id", /* client_app= */ "app",
                   /* client_agent= */ "agent", &entry, /* type= */ 7, /* level= */ 1, text,
                   static_cast<char*>(nullptr));
     },
     {kNotify}},
};

class CommandsOfManyThreads : public ApplianceTest, public testing::WithParamInterface<CommandFunction> {};
INSTANTIATE_TEST_SUITE_P(, CommandsOfManyThreads, testing::ValuesIn(kSendings), name_of_row<CommandFunction>);

// The texts between angle brackets in a command's arguments.
std::set<std::string> texts_in(const CommandRun& run) {
  std::string given = run.input;
  for (const std::string& argument : run.arguments) {
    given += argument;
  }
  std::set<std::string> found;
  for (std::size_t begin = given.find('<'); begin != std::string::npos; begin = given.find('<', begin + 1)) {
    found.insert(given.substr(begin, given.find('>', begin) + 1 - begin));
  }
  return found;
}

TEST_P(CommandsOfManyThreads, EachGetTheirOwnTextOnce) {
  constexpr int kCalls = 3;
  for (const char* path : {kEvsh, kNotify, kConnRecorder, kEventRecorder}) {
    commands.install(path);
  }
  ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
  in_many_threads([](std::size_t thread) {
    for (int call = 0; call < kCalls; ++call) {
      GetParam().send(own_text(thread, call).c_str());
    }
  });
  expect_no_child_left();
  std::map<std::string, std::set<std::string>> texts;
  const auto runs = commands.wait_for(GetParam().commands.size() * kThreads * kCalls);
  for (const CommandRun& run : runs) {
    const std::set<std::string> own = texts_in(run);
    EXPECT_EQ(own.size(), 1U) << run.path;
    texts[run.arguments.at(0)].insert(own.begin(), own.end());
  }
  EXPECT_EQ(runs.size(), GetParam().commands.size() * kThreads * kCalls);
  for (const std::string& command : GetParam().commands) {
    EXPECT_EQ(texts[command].size(), kThreads * kCalls) << command;
  }
}

// ---- SIGPIPE ----

sigset_t only_sigpipe() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

bool is_pending() {
  sigset_t pending;
  sigpending(&pending);
  return sigismember(&pending, SIGPIPE) == 1;
}

bool is_blocked() {
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  return sigismember(&mask, SIGPIPE) == 1;
}

class SigpipeInManyThreads : public ApplianceTest {};

// Every second thread blocks the signal, and every fourth has one pending.
TEST_F(SigpipeInManyThreads, StaysWithItsThread) {
  survive([] {
    install_script(kEvsh, "#!/bin/sh\nexit 0\n");
    set_handler(SIGPIPE, SIG_DFL);
    in_many_threads([](std::size_t thread) {
      const bool blocks = thread % 2 == 0;
      const bool waits = thread % 4 == 0;
      const sigset_t set = only_sigpipe();
      pthread_sigmask(blocks ? SIG_BLOCK : SIG_UNBLOCK, &set, nullptr);
      if (waits) {
        raise(SIGPIPE);
      }
      const std::string more_than_a_pipe_holds(100000, 'x');
      for (int call = 0; call < 3; ++call) {
        EXPECT_EQ(annal_report_event(1, more_than_a_pipe_holds.c_str()), ANNAL_OK);
        EXPECT_EQ(is_blocked(), blocks);
        EXPECT_EQ(is_pending(), waits);
      }
    });
    expect_no_child_left();
  });
}

}  // namespace
}  // namespace annal::test
