// Runs annalctl as a program.
#include "tests/tools/annalctl.h"

#include <fcntl.h>
#include <pty.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <memory>
#include <sstream>
#include <thread>

#include "tests/tools/argv.h"

namespace {

struct CloseFile {
  void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

std::string contents(std::FILE* file) {
  // Reads without moving the file offset, which a still running program shares.
  std::string text;
  std::array<char, 4096> buffer{};
  for (ssize_t got = 0;
       (got = pread(fileno(file), buffer.data(), buffer.size(), static_cast<off_t>(text.size()))) > 0;) {
    text.append(buffer.data(), static_cast<std::size_t>(got));
  }
  return text;
}

bool becomes_true(const std::function<bool()>& condition) {
  const auto give_up = std::chrono::steady_clock::now() + std::chrono::seconds(20);
  while (!condition()) {
    if (std::chrono::steady_clock::now() > give_up) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(5));
  }
  return true;
}

int wait_for(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) == -1 && errno == EINTR) {
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Starts the tool with these descriptors; returns -1 on failure.
pid_t start(const std::vector<std::string>& arguments, int input, int out, int err) {
  annal::test::Argv argv(ANNALCTL, arguments);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input, 0);
  posix_spawn_file_actions_adddup2(&actions, out, 1);
  posix_spawn_file_actions_adddup2(&actions, err, 2);
  // Not ignored, as they may be if the tests run in the background: they must end the tool.
  sigset_t interrupts;
  sigemptyset(&interrupts);
  sigaddset(&interrupts, SIGINT);
  sigaddset(&interrupts, SIGTERM);
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  posix_spawnattr_setsigdefault(&attributes, &interrupts);
  posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
  pid_t child = -1;
  if (posix_spawn(&child, ANNALCTL, &actions, &attributes, argv.get(), environ) != 0) {
    ADD_FAILURE() << "cannot run " << ANNALCTL;
    child = -1;
  }
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return child;
}

// Files instead of pipes: the tool cannot block while the test reads the other stream.
Finished run(const std::vector<std::string>& arguments, int input, const char* out_path) {
  Finished finished;
  const File out(out_path == nullptr ? std::tmpfile() : std::fopen(out_path, "r+"));
  const File err(std::tmpfile());
  if (!out || !err) {
    ADD_FAILURE() << "no file for the program's output could be opened";
    return finished;
  }
  const pid_t child = start(arguments, input, fileno(out.get()), fileno(err.get()));
  if (child < 0) {
    return finished;
  }
  finished.status = wait_for(child);
  finished.out = out_path == nullptr ? contents(out.get()) : std::string();
  finished.err = contents(err.get());
  return finished;
}

}  // namespace

Finished annalctl(const std::vector<std::string>& arguments, const std::string& input, const char* out_path) {
  const File in(std::tmpfile());
  if (!in) {
    ADD_FAILURE() << "no file for the program's input could be opened";
    return {};
  }
  static_cast<void>(std::fwrite(input.data(), 1, input.size(), in.get()));
  std::rewind(in.get());
  return run(arguments, fileno(in.get()), out_path);
}

Finished annalctl_at_terminal(const std::vector<std::string>& arguments, const std::string& typed) {
  int person = -1;
  int program = -1;
  if (openpty(&person, &program, nullptr, nullptr, nullptr) != 0) {
    ADD_FAILURE() << "no terminal could be opened";
    return {};
  }
  EXPECT_EQ(write(person, typed.data(), typed.size()), static_cast<ssize_t>(typed.size()));
  Finished finished = run(arguments, program, nullptr);
  close(program);
  close(person);
  return finished;
}

RunningAnnalctl::RunningAnnalctl(const std::vector<std::string>& arguments, int out)
    : out_(std::tmpfile()), err_(std::tmpfile()) {
  const File in(std::fopen("/dev/null", "r"));
  process_ = start(arguments, fileno(in.get()), out < 0 ? fileno(out_.get()) : out, fileno(err_.get()));
}

RunningAnnalctl::~RunningAnnalctl() {
  if (process_ > 0) {
    kill(process_, SIGKILL);
    static_cast<void>(wait_for(process_));
  }
}

std::vector<std::string> RunningAnnalctl::wait_for_lines(std::size_t count) const {
  std::vector<std::string> lines;
  static_cast<void>(becomes_true([&] {
    lines = lines_of(contents(out_.get()));
    return lines.size() >= count;
  }));
  return lines;
}

std::string RunningAnnalctl::wait_for_error(const std::string& text) const {
  std::string error;
  static_cast<void>(becomes_true([&] {
    error = contents(err_.get());
    return error.find(text) != std::string::npos;
  }));
  return error;
}

bool RunningAnnalctl::comes_to_open(const std::string& path) const {
  const std::filesystem::path descriptors = "/proc/" + std::to_string(process_) + "/fd";
  return becomes_true([&] {
    std::error_code gone;
    for (const auto& descriptor : std::filesystem::directory_iterator(descriptors, gone)) {
      if (std::filesystem::read_symlink(descriptor, gone) == path) {
        return true;
      }
    }
    return false;
  });
}

void RunningAnnalctl::pause() const {
  kill(process_, SIGSTOP);
  int status = 0;
  while (waitpid(process_, &status, WUNTRACED) == -1 && errno == EINTR) {
  }
}

void RunningAnnalctl::resume() const {
  kill(process_, SIGCONT);
}

Finished RunningAnnalctl::finish(int signal) {
  if (signal != 0) {
    kill(process_, signal);
  }
  Finished finished;
  finished.status = wait_for(process_);
  process_ = -1;
  finished.out = contents(out_.get());
  finished.err = contents(err_.get());
  return finished;
}

std::vector<std::string> lines_of(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  return lines;
}
