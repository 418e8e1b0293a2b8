// With any command line, the program exits by itself with a documented status.
#include "tests/tools/command_lines.h"
#include "tests/tools/argv.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>

#include "appliance/namespace.h"
#include "tests/tools/annalctl.h"

namespace {

namespace fs = std::filesystem;
using annal::test::Command;
using annal::test::quoted;
using Texts = std::vector<std::string>;

constexpr const char* kFolder = annal::appliance::kLogFolder;
constexpr const char* kCopy = "/sbin/logs";
constexpr unsigned kSeconds = 60;  // for one command line on a busy machine
#ifdef __SANITIZE_ADDRESS__
constexpr int kLinesOfEach = 3;
#else
constexpr int kLinesOfEach = 8;
#endif

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) { EXPECT_GE(number, 0); }
  ~Descriptor() { close(number_); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  [[nodiscard]] int number() const { return number_; }

 private:
  int number_;
};

int pipe_without_reader() {
  int ends[2] = {-1, -1};
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  return ends[1];
}

class AnnalctlCommandLines : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    for (const Texts& log : {Texts{"event"}, {"conn"}, {"notice"}, {"fileop", "--db", "/etc/logs/fileop.db"}}) {
      Texts create = log;
      create.emplace_back("create");
      ASSERT_EQ(annalctl(create).status, 0);
    }
    const std::string lines =
        "{\"event_type\":2,\"event_user\":\"admin\",\"event_desc\":\"it's \\u2103\",\"event_timet\":1795255200}\n"
        "2024-01-01 10:00:00 install foo:amd64 <none> 1.0\n"
        "no line of any log\n";
    ASSERT_EQ(annalctl({"event", "import", "-"}, lines).status, 1);
    std::ofstream("/etc/logs/lines") << lines;
    fs::copy(kFolder, kCopy);
  }

  static void put_logs_back() {
    for (const fs::directory_entry& entry : fs::directory_iterator(kFolder)) {
      fs::remove_all(entry.path());
    }
    fs::copy(kCopy, kFolder);
  }

  // The exit status, or the negated number of the signal that killed it. Standard input is empty. What follows a log
  // ends because its reader is gone.
  [[nodiscard]] int run(const Texts& arguments) const {
    annal::test::Argv argv(ANNALCTL, arguments);
    const bool follows = std::any_of(arguments.begin(), arguments.end(),
                                     [](const std::string& word) { return word == "tail" || word == "log"; });
    EXPECT_EQ(ftruncate(errors_.number(), 0), 0);
    lseek(errors_.number(), 0, SEEK_SET);
    const pid_t child = fork();
    if (child == 0) {
      alarm(kSeconds);
      if (dup2(null_.number(), STDIN_FILENO) == STDIN_FILENO &&
          dup2(follows ? unread_.number() : null_.number(), STDOUT_FILENO) == STDOUT_FILENO &&
          dup2(errors_.number(), STDERR_FILENO) == STDERR_FILENO && chdir(kFolder) == 0) {
        execv(ANNALCTL, argv.get());
      }
      _exit(annal::appliance::kCannotRun);
    }
    int status = 0;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  [[nodiscard]] std::string errors() const {
    std::string text(static_cast<std::size_t>(lseek(errors_.number(), 0, SEEK_END)), '\0');
    EXPECT_EQ(pread(errors_.number(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    return text;
  }

 private:
  Descriptor null_{open("/dev/null", O_RDWR | O_CLOEXEC)};
  Descriptor unread_{pipe_without_reader()};
  Descriptor errors_{memfd_create("errors", MFD_CLOEXEC)};
};

std::map<std::string, std::string> contents_of_logs() {
  std::map<std::string, std::string> contents;
  for (const fs::directory_entry& entry : fs::directory_iterator(kFolder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    contents[entry.path()] = {std::istreambuf_iterator<char>(file), {}};
  }
  return contents;
}

TEST_F(AnnalctlCommandLines, AreMadeOfEveryCommand) {
  const std::vector<Command> all = annal::test::all_commands();
  for (const Texts& words :
       {Texts{}, {"event"}, {"event", "delete"}, {"fileop", "tail"}, {"catalog", "fill"}, {"check"}}) {
    EXPECT_TRUE(std::any_of(all.begin(), all.end(), [&words](const Command& one) { return one.words == words; }));
  }
}

TEST_F(AnnalctlCommandLines, EndWithADocumentedStatusAndChangeNothingWhenTheyAreWrong) {
  const std::vector<Command> all = annal::test::all_commands();
  std::mt19937 random(1795255200);  // NOLINT(cert-msc51-cpp): the same lines in every run
  const auto choose = [&random](unsigned bound) { return static_cast<unsigned>(random() % bound); };
  std::map<int, int> endings;
  for (const Command& command : all) {
    put_logs_back();
    auto before = contents_of_logs();
    for (int i = 0; i < kLinesOfEach; ++i) {
      const Texts line = annal::test::command_line(command, all, choose);
      const int status = run(line);
      ++endings[status];
      const auto after = contents_of_logs();
      ASSERT_TRUE(status >= 0 && status <= 2) << quoted(line) << ": " << status << "\n" << errors();
      if (status == 2) {
        // 'verify' ends so when it cannot tell, too.
        const bool verified = std::find(line.begin(), line.end(), "verify") != line.end();
        EXPECT_TRUE(verified || errors().find(" --help' for its options.") != std::string::npos) << quoted(line) << "\n"
                                                                                                 << errors();
        EXPECT_TRUE(after == before) << quoted(line);
      }
      before = after;
    }
  }
  // Many lines must do something, or the test proves little.
  const int lines = static_cast<int>(all.size()) * kLinesOfEach;
  EXPECT_GT(endings[0], lines / 8);
  EXPECT_GT(endings[1], lines / 60);
  EXPECT_GT(endings[2], lines / 4);
}

}  // namespace
