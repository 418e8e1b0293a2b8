// annal-export as a program, as scripts and systemd run it.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "tests/export/program_fixture.h"
#include "tests/support/log_file.h"

namespace annal::test {
namespace {

TEST_F(ExportProgram, SendsAllFourLogs) {
  ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
  ASSERT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OK);
  ASSERT_EQ(pavo2log_event_create_tbl("/etc/logs/operations.db", 0, 0), ANNAL_OK);
  add_event("an event");
  sql("/etc/logs/conn.log",
      "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time, conn_res) VALUES (1, '2026-11-21', '10:00:00', '/a')");
  sql("/etc/logs/notice.log", "INSERT INTO ANNAL_NOTICE (severity, time, desc) VALUES (2, 1795255200, 'a notice')");
  sql("/etc/logs/operations.db",
      "INSERT INTO PAVO2LOG_EVENT (event_type, event_date, event_time, event_filepath) VALUES (0, '2026-11-21', "
      "'10:00:00', '/share/file')");
  const std::string lines = once();
  Texts keys = keys_in(lines);
  std::sort(keys.begin(), keys.end());
  EXPECT_EQ(keys, (Texts{"conn/1/1", "event/1/1", "fileop/1/1", "notice/1/1"}));
  EXPECT_NE(
      lines.find(R"("date":"2026-11-21","time":"10:00:00","timestamp":1795255200,"level":"critical","severity":2,)"
                 R"("message":"a notice")"),
      std::string::npos)
      << lines;
  EXPECT_NE(lines.find(R"("message":"/share/file")"), std::string::npos) << lines;
  EXPECT_EQ(once(), "");
}

TEST_F(ExportProgram, SavesThePositionOfWhatTheReaderHasAcknowledged) {
  configure("type = \"stdout\"\nacknowledge = \"input\"\n");
  add_events(5);
  {
    Running run(with({}));
    for (int id = 1; id <= 5; ++id) {
      EXPECT_EQ(key_in(run.line()), "event/1/" + std::to_string(id));
    }
    run.say("\n" + std::string(kAppliance) + "/event/1/3\n");
    const auto saved = [this] {
      const std::string state = content_of(folder + "/out.event.state");
      return state.find("\"position\":3,") != std::string::npos;
    };
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!saved() && std::chrono::steady_clock::now() < limit) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    run.send(SIGKILL);
    EXPECT_EQ(run.finish(), -1);
  }
  {
    Running run(with({}));
    EXPECT_EQ(key_in(run.line()), "event/1/4");
    run.say("\n");
    run.send(SIGTERM);
    EXPECT_EQ(run.finish(), 0);
  }
  Running run(with({"--once"}));
  EXPECT_EQ(key_in(run.line()), "event/1/5");
  run.say("\n");
  EXPECT_EQ(run.rest(), "");
  EXPECT_EQ(run.finish(), 0);
}

TEST_F(ExportProgram, SavesNoPositionIfTheReaderGoesAway) {
  add_events(3);
  {
    Running run(with({}));
    EXPECT_NE(run.line(), "");
    run.send(SIGKILL);
    EXPECT_EQ(run.finish(), -1);
  }
  EXPECT_EQ(keys_in(once()).size(), 3);
  configure("type = \"stdout\"\nacknowledge = \"input\"\n");
  add_events(2);
  Running run(with({"--once"}));
  EXPECT_NE(run.line(), "");
  run.close_input();
  EXPECT_NE(run.errors().find("standard input has ended"), std::string::npos);
  EXPECT_EQ(run.finish(), 1);
}

TEST_F(ExportProgram, FollowsALogAndSavesThePositionOnSigterm) {
  Running run(with({}));
  for (int i = 1; i <= 3; ++i) {
    add_event("now");
    EXPECT_EQ(key_in(run.line()), "event/1/" + std::to_string(i));
  }
  run.send(SIGTERM);
  EXPECT_EQ(run.finish(), 0);
  EXPECT_EQ(once(), "");
}

TEST_F(ExportProgram, RefusesAStateOfAnotherApplianceAndSendsTheOtherLogs) {
  ASSERT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OK);
  add_events(2);
  EXPECT_EQ(keys_in(once()).size(), 2);
  const std::string state = content_of(folder + "/out.event.state");
  std::filesystem::remove(folder + "/out.notice.state");
  write_file(folder + "/machine-id", std::string(kOtherAppliance) + "\n");
  sql("/etc/logs/notice.log", "INSERT INTO ANNAL_NOTICE (severity, time, desc) VALUES (2, 1795255200, 'a notice')");
  add_event("third");
  Running run(with({"--once"}));
  EXPECT_EQ(keys_in(run.rest()), Texts{"notice/1/1"});
  EXPECT_NE(run.errors().find("is of the appliance 0123456789abcdef0123456789abcdef"), std::string::npos);
  EXPECT_EQ(run.finish(), 1);
  EXPECT_EQ(content_of(folder + "/out.event.state"), state);
}

TEST_F(ExportProgram, RefusesADamagedState) {
  add_events(2);
  once();
  std::string state = content_of(folder + "/out.event.state");
  state.replace(state.find("\"position\":2"), 12, "\"position\":9");
  write_file(folder + "/out.event.state", state);
  add_event("third");
  EXPECT_EQ(once(1), "");
  std::filesystem::remove(folder + "/out.event.state");
  EXPECT_EQ(keys_in(once()), (Texts{"event/1/1", "event/1/2", "event/1/3"}));
}

TEST_F(ExportProgram, RunsOnceForAStateFolder) {
  Running first(with({}));
  add_event("now");
  EXPECT_EQ(key_in(first.line()), "event/1/1");
  Running second(with({"--once"}));
  EXPECT_NE(second.errors().find("another annal-export uses"), std::string::npos);
  EXPECT_EQ(second.finish(), 1);
}

TEST_F(ExportProgram, TellsItsStatus) {
  const auto status = [this](const char* form) {
    Running run(with({"status", form}));
    std::string text = run.rest();
    EXPECT_EQ(run.finish(), 0);
    return text;
  };
  add_events(3);
  once();
  sql(kEventLog, "UPDATE ANNAL_EVENT SET event_timet = event_timet - 100");
  sql(kEventLog, "DELETE FROM ANNAL_EVENT WHERE event_id = 2");
  add_events(2);
  sql(kEventLog, "UPDATE ANNAL_EVENT SET event_timet = event_timet - 1000 WHERE event_id > 3");
  const std::string lines = status("--json");
  const nlohmann::json event = nlohmann::json::parse(lines.substr(0, lines.find('\n')));
  EXPECT_EQ(event.at("sink"), "out");
  EXPECT_EQ(event.at("log"), "event");
  EXPECT_EQ(event.at("position"), 3);
  EXPECT_EQ(event.at("lag_entries"), 2);
  EXPECT_GE(event.at("lag_seconds").get<int>(), 1000);
  EXPECT_LT(event.at("lag_seconds").get<int>(), 1100);
  EXPECT_EQ(event.at("running"), false);
  EXPECT_EQ(event.at("error"), nullptr);
  const std::string metrics = status("--prometheus");
  EXPECT_NE(metrics.find("annal_export_lag_entries{sink=\"out\",log=\"event\"} 2\n"), std::string::npos) << metrics;
  EXPECT_NE(metrics.find("# TYPE annal_export_sent_total counter\n"), std::string::npos) << metrics;
}

TEST_F(ExportProgram, FailsForAWrongConfigurationBeforeItDoesAnything) {
  write_file(folder + "/c.toml", "state = 1\n");
  Running run(with({"--check"}));
  EXPECT_NE(run.errors().find(folder + "/c.toml:1: state: must be a text in quotes\n"), std::string::npos);
  EXPECT_EQ(run.finish(), 2);
}

// Whoever is killed sends some lines again, with the same keys, and leaves none out.
TEST_F(ExportProgram, LosesNothingWhenItIsKilledAtAnyMoment) {
  configure("type = \"stdout\"\nacknowledge = \"input\"\nbatch = 7\n");
  std::minstd_rand random(20);  // NOLINT(cert-msc32-c,cert-msc51-cpp): the same each time
  std::set<std::string> received;
  int written = 0;
  constexpr int kKills = 6;
  for (int i = 0; i < kKills; ++i) {
    add_events(20);
    written += 20;
    Running run(with({}));
    std::thread killer([&run, wait = random() % 20] {
      std::this_thread::sleep_for(std::chrono::milliseconds(wait));
      run.send(SIGKILL);
    });
    for (std::string line = run.line(); line.ends_with('}'); line = run.line()) {
      received.insert(key_in(line));
      run.say("\n");
    }
    killer.join();
    EXPECT_EQ(run.finish(), -1);
  }
  Running run(with({}));
  while (static_cast<int>(received.size()) < written) {
    const std::string line = run.line();
    ASSERT_NE(line, "");
    received.insert(key_in(line));
    run.say("\n");
  }
  run.send(SIGTERM);
  EXPECT_EQ(run.finish(), 0);
  EXPECT_EQ(received.size(), written);
}

}  // namespace
}  // namespace annal::test
