// Starts the pager once the output is longer than the screen.
#include "tools/annalctl/output/pager.h"

#include <fcntl.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

#include "tools/annalctl/base/failure.h"

namespace annalctl {

namespace {

// A table may contain any letters, whatever the locale.
std::string command_line() {
  const char* const named = secure_getenv("PAGER");
  const std::string pager = named == nullptr || *named == '\0'
                                ? "if command -v less >/dev/null; then exec less -FRX; else exec more; fi"
                                : named;
  return "LESSCHARSET=\"${LESSCHARSET-utf-8}\"; export LESSCHARSET; " + pager;
}

[[noreturn]] void become_pager(int input, const std::string& command) {
  static_cast<void>(dup2(input, STDIN_FILENO));
  static_cast<void>(std::signal(SIGPIPE, SIG_DFL));
  static_cast<void>(std::signal(SIGINT, SIG_DFL));
  execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
  constexpr int kCannotRun = 127;
  _exit(kCannotRun);
}

}  // namespace

void Pager::write(std::string_view text) {
  if (process_ >= 0) {
    hand_over(text);
    return;
  }
  kept_ += text;
  for (const char c : text) {
    ++column_;
    if (c == '\n' || column_ > screen_.width) {
      ++lines_;
      column_ = c == '\n' ? 0 : 1;
    }
  }
  // The last line is for the prompt.
  if (lines_ + 1 > screen_.height) {
    start();
    hand_over(std::exchange(kept_, {}));
  }
}

std::string Pager::take_kept() {
  return std::exchange(kept_, {});
}

void Pager::start() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw WriteFailure(errno);
  }
  const std::string command = command_line();
  process_ = fork();
  if (process_ == 0) {
    become_pager(ends[0], command);
  }
  close(ends[0]);
  pipe_ = ends[1];
  if (process_ < 0) {
    throw WriteFailure(errno);
  }
  // ^C is for the pager: it ends a search there, not the output.
  static_cast<void>(std::signal(SIGINT, SIG_IGN));
}

void Pager::hand_over(std::string_view text) {
  while (!text.empty()) {
    const ssize_t written = ::write(pipe_, text.data(), text.size());
    if (written < 0 && errno != EINTR) {
      left_ = errno == EPIPE;
      throw WriteFailure(errno);
    }
    text.remove_prefix(written < 0 ? 0 : static_cast<std::size_t>(written));
  }
}

void Pager::end() {
  if (pipe_ >= 0) {
    close(std::exchange(pipe_, -1));
  }
  if (process_ >= 0) {
    while (waitpid(process_, nullptr, 0) < 0 && errno == EINTR) {
    }
    process_ = -1;
    static_cast<void>(std::signal(SIGINT, SIG_DFL));
  }
}

}  // namespace annalctl
