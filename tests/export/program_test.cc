// annal-export as a program, as scripts and systemd run it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <nlohmann/json.hpp>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "tests/export/export_test.h"
#include "tests/support/log_file.h"

namespace annal::test {
namespace {

using Texts = std::vector<std::string>;

// The program with its standard streams in the test's hands.
class Running {
 public:
  explicit Running(const Texts& arguments) {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    std::array<int, 2> err{};
    for (auto* const pipe : {&in, &out, &err}) {
      EXPECT_EQ(pipe2(pipe->data(), O_CLOEXEC), 0);
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    Texts all{ANNAL_EXPORT_PROGRAM};
    all.insert(all.end(), arguments.begin(), arguments.end());
    std::vector<char*> argv;
    for (std::string& argument : all) {
      argv.push_back(argument.data());
    }
    argv.push_back(nullptr);
    EXPECT_EQ(posix_spawn(&process_, ANNAL_EXPORT_PROGRAM, &actions, nullptr, argv.data(), environ), 0);
    posix_spawn_file_actions_destroy(&actions);
    close(in[0]);
    close(out[1]);
    close(err[1]);
    in_ = in[1];
    out_ = out[0];
    err_ = err[0];
  }
  ~Running() {
    if (process_ > 0) {
      kill(process_, SIGKILL);
      finish();
    }
    close_input();
    close(out_);
    close(err_);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

  // What has ended does not hear it.
  void say(const std::string& text) const {
    static_cast<void>(std::signal(SIGPIPE, SIG_IGN));
    EXPECT_TRUE(write(in_, text.data(), text.size()) == static_cast<ssize_t>(text.size()) || errno == EPIPE);
  }
  void close_input() {
    if (in_ >= 0) {
      close(in_);
      in_ = -1;
    }
  }
  void send(int signal) const { kill(process_, signal); }

  // The next line, or nothing at the end.
  [[nodiscard]] std::string line() const {
    std::string text;
    char c = 0;
    while (read(out_, &c, 1) == 1 && c != '\n') {
      text += c;
    }
    return text;
  }
  [[nodiscard]] std::string rest() const { return all_of(out_); }
  [[nodiscard]] std::string errors() const { return all_of(err_); }

  // The exit status, or -1 if a signal killed it.
  int finish() {
    int status = 0;
    EXPECT_EQ(waitpid(process_, &status, 0), process_);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  static std::string all_of(int descriptor) {
    std::string text;
    std::array<char, 4096> bytes{};
    for (ssize_t got = read(descriptor, bytes.data(), bytes.size()); got > 0;
         got = read(descriptor, bytes.data(), bytes.size())) {
      text.append(bytes.data(), static_cast<std::size_t>(got));
    }
    return text;
  }

  pid_t process_ = -1;
  int in_ = -1;
  int out_ = -1;
  int err_ = -1;
};

std::string key_in(const std::string& line) {
  const nlohmann::json json = nlohmann::json::parse(line);
  return json.at("log").get<std::string>() + "/" + std::to_string(json.at("generation").get<int>()) + "/" +
         std::to_string(json.at("id").get<int>());
}

Texts keys_in(const std::string& lines) {
  Texts keys;
  for (std::size_t begin = 0; begin < lines.size();) {
    const std::size_t end = lines.find('\n', begin);
    keys.push_back(key_in(lines.substr(begin, end - begin)));
    begin = end + 1;
  }
  return keys;
}

class ExportProgram : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    write_file(folder + "/machine-id", std::string(kAppliance) + "\n");
    configure("type = \"stdout\"\n");
  }

  void configure(const std::string& sink) const {
    write_file(folder + "/c.toml", "state = \"" + folder + "\"\nmachine_id = \"" + folder +
                                       "/machine-id\"\ninterval = 20\n[logs]\nfileop = \"/etc/logs/operations.db\"\n" +
                                       "[sink.out]\n" + sink);
  }

  [[nodiscard]] Texts with(const Texts& more) const {
    Texts all{"--config", folder + "/c.toml"};
    all.insert(all.end(), more.begin(), more.end());
    return all;
  }

  // Runs it to its end.
  std::string once(int status = 0) const {
    Running run(with({"--once"}));
    std::string out = run.rest();
    const std::string errors = run.errors();
    EXPECT_EQ(run.finish(), status) << errors;
    return out;
  }
};

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
