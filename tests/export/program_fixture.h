// The base of the tests that run annal-export as a program, as scripts and systemd do.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/export/export_test.h"

namespace annal::test {

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

inline std::string key_in(const std::string& line) {
  const nlohmann::json json = nlohmann::json::parse(line);
  return json.at("log").get<std::string>() + "/" + std::to_string(json.at("generation").get<int>()) + "/" +
         std::to_string(json.at("id").get<int>());
}

inline Texts keys_in(const std::string& lines) {
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
    state_folder = folder;
    write_file(folder + "/machine-id", std::string(kAppliance) + "\n");
    configure("type = \"stdout\"\n");
  }

  void configure(const std::string& sink) const {
    write_file(folder + "/c.toml", "state = \"" + state_folder + "\"\nmachine_id = \"" + folder +
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

  std::string state_folder;  // of the positions
};

}  // namespace annal::test
