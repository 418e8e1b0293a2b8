// Runs annalctl on any command line: it must exit with a documented status, give a reason for each failure, write
// nothing to a terminal that could control it, and change no file if the line is wrong.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <sstream>

#include "appliance/namespace.h"
#include "tests/fuzz/captured.h"
#include "tests/fuzz/fuzz.h"
#include "tests/tools/argv.h"
#include "tests/tools/command_lines.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/program.h"

namespace {

using annal::fuzz::Captured;
using annal::fuzz::Files;
using annal::fuzz::Input;
using annal::fuzz::require;
using annal::test::Command;
using Texts = std::vector<std::string>;

constexpr unsigned kMaxLines = 4;  // per input, each on the files that the previous line left

// Also captures what the program writes without stdio.
class CapturedHelp {
 public:
  CapturedHelp() : real_(std::cout.rdbuf(text_.rdbuf())) {}
  ~CapturedHelp() { std::cout.rdbuf(real_); }
  CapturedHelp(const CapturedHelp&) = delete;
  CapturedHelp& operator=(const CapturedHelp&) = delete;

 private:
  std::ostringstream text_;
  std::streambuf* real_;
};

struct Answer {
  int status;
  std::string errors;
};

Answer run(const Texts& line) {
  annal::test::Argv argv("annalctl", line);
  Captured errors(stderr);
  Captured output(stdout);
  const CapturedHelp help;
  const int status = annalctl::run_program(argv.count(), argv.get());
  return {status, errors.restore()};
}

// Standard input is empty, and the reader of standard output is gone, so that a following tail ends. Relative names are
// in the folder that is restored.
void set_up_process() {
  std::array<int, 2> ends{};
  const int null = open("/dev/null", O_RDONLY | O_CLOEXEC);
  require(pipe2(ends.data(), O_CLOEXEC) == 0 && dup2(null, STDIN_FILENO) == STDIN_FILENO &&
              dup2(ends[1], STDOUT_FILENO) == STDOUT_FILENO && chdir(annal::appliance::kLogFolder) == 0,
          "standard input and output");
  close(null);
  close(ends[0]);
  close(ends[1]);
}

const Files& logs() {
  static const Files files = [] {
    set_up_process();
    std::ofstream("lines") << R"({"event_type":2,"event_user":"admin","event_desc":"it's","event_timet":1795255200})"
                              "\n2024-01-01 10:00:00 install foo:amd64 <none> 1.0\nno line of any log\n";
    for (const Texts& line : {Texts{"event", "create"},
                              {"conn", "create"},
                              {"notice", "create"},
                              {"fileop", "--db", "fileop.db", "create"},
                              {"event", "add", "it's", "--user", "admin"},
                              {"notice", "add", "it's"}}) {
      require(run(line).status == annalctl::kSuccess, "logs to begin with: " + annal::test::quoted(line));
    }
    return annal::fuzz::files();
  }();
  return files;
}

// The input itself, one argument a line.
Texts raw_line(Input& input) {
  Texts line;
  while (!input.empty() && line.size() < 64) {
    std::string argument = input.line();
    argument.erase(std::find(argument.begin(), argument.end(), '\0'), argument.end());
    std::replace(argument.begin(), argument.end(), '/', '|');  // keeps it in its folder
    line.push_back(argument);
  }
  return line;
}

void require_readable(const std::string& errors) {
  for (const char c : errors) {
    const auto code = static_cast<unsigned char>(c);
    require(code == '\n' || (code >= ' ' && code != 0x7F), "a control character in: " + errors);
  }
}

void check(const Texts& line) {
  const Files before = annal::fuzz::files();
  const Answer answer = run(line);
  const std::string text = annal::test::quoted(line);
  require(answer.status >= annalctl::kSuccess && answer.status <= annalctl::kUsage, "the exit status of " + text);
  require_readable(answer.errors);
  const auto has = [&line](const char* word) { return std::find(line.begin(), line.end(), word) != line.end(); };
  const bool followed = has("tail") || has("log");
  const bool checked = has("check") || has("info") || has("verify");  // which report it as output
  require(answer.status == annalctl::kSuccess || followed || checked || !answer.errors.empty(),
          "a failure without a word: " + text);
  if (answer.status == annalctl::kUsage) {
    // 'verify' ends so when it cannot tell, too.
    require(has("verify") || answer.errors.find(" --help' for its options.") != std::string::npos, "no hint: " + text);
    require(annal::fuzz::files() == before, "a change by wrong usage: " + text);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const std::vector<Command> all = annal::test::all_commands();
  Input input(data, size);
  annal::fuzz::put_back(logs());
  const annal::fuzz::LeakCheck leak_check;
  if (input.byte() % 4 == 0) {
    check(raw_line(input));
    return 0;
  }
  const auto choose = [&input](unsigned bound) { return input.below(bound); };
  for (unsigned left = kMaxLines; left > 0 && !input.empty(); --left) {
    check(annal::test::command_line(all[input.byte() % all.size()], all, choose));
  }
  return 0;
}
