// Runs annalctl as a program; and the tests of behaviour common to all commands.
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

// --- the program as a whole ---

TEST_F(AnnalctlTest, ReadingCommandsDoNotCreateAMissingLog) {
  for (const char* verb : {"list", "count"}) {
    const Finished finished = annalctl({"event", verb});
    EXPECT_EQ(finished.status, 1) << verb;
    EXPECT_NE(finished.err.find("run 'annalctl event create'"), std::string::npos) << finished.err;
    EXPECT_NE(access("/etc/logs/event.log", F_OK), 0) << verb;
  }
}

TEST_F(AnnalctlTest, CommandsDoNotCreateAMissingLog) {
  const std::vector<std::vector<std::string>> cases{
      {"event", "add", "x"},  {"event", "delete", "--id", "1"},
      {"event", "trim", "1"}, {"event", "flush"},
      {"event", "migrate"},   {"event", "import", "-"},
      {"notice", "age", "1"}, {"notice", "flush"},
      {"notice", "migrate"},  {"notice", "delete", "--id", "1"},
      {"notice", "add", "x"}, {"notice", "list"},
      {"notice", "count"},    {"notice", "group", "--by", "user"},
  };
  for (const auto& command : cases) {
    const std::string name = command[0] + " " + command[1];
    const Finished finished = annalctl(command);
    EXPECT_EQ(finished.status, 1) << name;
    EXPECT_NE(finished.err.find("run 'annalctl " + command[0] + " create'"), std::string::npos) << finished.err;
    EXPECT_NE(access(("/etc/logs/" + command[0] + ".log").c_str(), F_OK), 0) << name;
  }
}

TEST_F(AnnalctlTest, CreatingTwiceReportsThatTheLogExists) {
  for (const char* log : {"event", "notice"}) {
    EXPECT_EQ(annalctl({log, "create"}).status, 0) << log;
    const Finished again = annalctl({log, "create"});
    EXPECT_EQ(again.status, 1) << log;
    EXPECT_NE(again.err.find("exists already and holds 0 entries"), std::string::npos) << again.err;
  }
}

TEST_F(AnnalctlTest, FileWithoutATableIsDistinguishedFromAMissingOne) {
  const File file(std::fopen("/etc/logs/event.log", "w"));
  const Finished finished = annalctl({"event", "list"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("has no table yet"), std::string::npos) << finished.err;
}

TEST_F(AnnalctlTest, NonDatabaseFileIsNamedAsSuchAndLeftAlone) {
  {
    const File file(std::fopen("/etc/logs/event.log", "w"));
    static_cast<void>(std::fputs("plain text, and no database at all", file.get()));
  }
  const Finished finished = annalctl({"event", "create"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("not a database"), std::string::npos) << finished.err;
  const File file(std::fopen("/etc/logs/event.log", "r"));
  EXPECT_EQ(contents(file.get()), "plain text, and no database at all");
}

TEST_F(AnnalctlTest, WrongUsageIsStatusTwoOnStandardErrorWithAHint) {
  const std::vector<std::vector<std::string>> cases{
      {},
      {"nonsense"},
      {"event", "nonsense"},
      {"event", "list", "--sort", "colour"},
      {"event", "list", "--limit", "-1"},
      {"--json", "--csv", "event", "list"},
      {"event", "delete"},
      {"event", "delete", "--dry-run"},
      {"event", "trim", "0"},
      {"event", "trim", "-5"},
      {"event", "group"},
      {"notice", "age"},
      {"notice", "age", "0"},
      {"notice", "delete"},
      {"notice", "delete", "--id", "one"},
      {"notice", "group"},
      {"notice", "list", "--severity", "8"},
      {"notify", "A011"},
      {"facilities", "one"},
      {"check", "event"},
      {"fileop", "check"},
  };
  for (const auto& command : cases) {
    const Finished finished = annalctl(command);
    EXPECT_EQ(finished.status, 2) << finished.err;
    EXPECT_NE(finished.err.find("--help"), std::string::npos) << finished.err;
    EXPECT_EQ(finished.out, "");
  }
}

class AnnalctlDelete : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    for (const std::vector<std::string>& log : logs()) {
      ASSERT_EQ(annalctl(joined(log, {"create"})).status, 0);
    }
  }

  static std::vector<std::vector<std::string>> logs() {
    return {{"event"}, {"conn"}, {"fileop", "--db", "/etc/logs/operations.db"}, {"notice"}};
  }

  static std::vector<std::string> joined(std::vector<std::string> log, const std::vector<std::string>& arguments) {
    log.insert(log.end(), arguments.begin(), arguments.end());
    return log;
  }
};

TEST_F(AnnalctlDelete, NamesWhatItDoesNotKnow) {
  for (const std::vector<std::string>& log : logs()) {
    for (const std::string unknown : {"-x", "yesterday", "flush"}) {
      const Finished finished = annalctl(joined(log, {"delete", unknown}));
      EXPECT_EQ(finished.status, 2) << log[0] << " " << unknown;
      EXPECT_NE(finished.err.find(unknown), std::string::npos) << finished.err;
      EXPECT_EQ(annalctl(joined(log, {"delete", "--id", "1", unknown})).status, 2) << log[0] << " " << unknown;
    }
  }
}

TEST_F(AnnalctlDelete, TakesTheGeneralOptionsAsEveryCommandDoes) {
  for (const std::vector<std::string>& log : logs()) {
    for (const std::string form : {"--json", "--csv"}) {
      for (const auto& arguments : {std::vector<std::string>{"delete", form, "--id", "1"},
                                    std::vector<std::string>{"delete", "--id", "1", form},
                                    {"flush", form}}) {
        const Finished finished = annalctl(joined(log, arguments));
        EXPECT_EQ(finished.status, 0) << log[0] << " " << form << ": " << finished.err;
        EXPECT_EQ(finished.err, "");
        EXPECT_NE(finished.out.find("deleted"), std::string::npos);
      }
      EXPECT_EQ(annalctl(joined(log, {"delete", form})).status, 2) << log[0] << " " << form;
    }
  }
}

TEST_F(AnnalctlTest, HelpIsOnStandardOutputForEveryCommand) {
  const std::vector<std::vector<std::string>> all{
      {"conn", "create"},
      {"conn", "add"},
      {"conn", "list"},
      {"conn", "tail"},
      {"conn", "count"},
      {"conn", "group"},
      {"conn", "delete"},
      {"conn", "trim"},
      {"conn", "flush"},
      {"conn", "migrate"},
      {"conn", "import"},
      {"event", "create"},
      {"event", "add"},
      {"event", "list"},
      {"event", "count"},
      {"event", "tail"},
      {"event", "group"},
      {"event", "delete"},
      {"event", "trim"},
      {"event", "flush"},
      {"event", "migrate"},
      {"event", "import"},
      {"notice", "create"},
      {"notice", "age"},
      {"notice", "delete"},
      {"notice", "flush"},
      {"notice", "migrate"},
      {"notice", "add"},
      {"notice", "list"},
      {"notice", "count"},
      {"notice", "group"},
      {"notify"},
      {"facilities"},
      {"fileop", "create"},
      {"fileop", "add"},
      {"fileop", "list"},
      {"fileop", "count"},
      {"fileop", "tail"},
      {"fileop", "delete"},
      {"fileop", "flush"},
      {"fileop", "import"},
      {"conn", "check"},
      {"conn", "salvage"},
      {"event", "check"},
      {"event", "salvage"},
      {"fileop", "check"},
      {"fileop", "salvage"},
      {"notice", "check"},
      {"notice", "salvage"},
      {"notice", "tail"},
      {"info"},
      {"keep"},
      {"log"},
      {"event", "info"},
      {"event", "limit"},
      {"event", "keep"},
      {"event", "compact"},
      {"check"},
  };
  for (const auto& command : all) {
    std::vector<std::string> arguments = command;
    std::string usage = "Usage: annalctl";
    for (const std::string& word : command) {
      usage += " " + word;
    }
    arguments.emplace_back("--help");
    const Finished finished = annalctl(arguments);
    EXPECT_EQ(finished.status, 0) << usage;
    EXPECT_NE(finished.out.find(usage), std::string::npos) << finished.out;
  }
}

TEST_F(AnnalctlTest, HelpOfTheProgramNamesTheCommandsOfEveryLog) {
  const Finished finished = annalctl({"--help"});
  for (const char* line :
       {"The event log, /etc/logs/event.log", "The notice log, /etc/logs/notice.log", "facilities"}) {
    EXPECT_NE(finished.out.find(line), std::string::npos) << finished.out;
  }
}

TEST_F(AnnalctlEventTest, FullDiskForStandardOutputIsAFailure) {
  const Finished finished = annalctl({"event", "list"}, {}, "/dev/full");
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("cannot write to standard output"), std::string::npos) << finished.err;
}

TEST_F(AnnalctlEventTest, DeletingFromALockedLogNamesTheHolderAndDoesNotWait) {
  const int file = open("/etc/logs/event.log", O_RDWR | O_CLOEXEC);
  struct flock lock {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  lock.l_start = 0x40000000;
  lock.l_len = 512;
  ASSERT_EQ(fcntl(file, F_SETLK, &lock), 0);
  const Finished finished = annalctl({"event", "delete", "--id", "1"});
  close(file);
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("locked by process " + std::to_string(getpid())), std::string::npos) << finished.err;
  EXPECT_EQ(finished.err.find("20 s"), std::string::npos) << finished.err;
}
