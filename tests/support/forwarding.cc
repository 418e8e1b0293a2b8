// Runs scenarios in child processes and inspects descriptors and signals.
#include "tests/support/forwarding.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <thread>

#include "tests/support/platform_recorder.h"

namespace annal::test {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

void install_script(const char* path, const std::string& text) {
  std::ofstream(path) << text;
  ASSERT_EQ(chmod(path, 0755), 0);
}

Calls consumer_calls() {
  Calls found;
  for (const std::string& call : PlatformRecorder::calls()) {
    if (call.starts_with("S") && !call.starts_with("Skip_")) {
      found.push_back(call);
    }
  }
  return found;
}

std::set<int> inheritable_descriptors() {
  std::set<int> found;
  for (int descriptor = STDERR_FILENO + 1; descriptor < 1024; ++descriptor) {
    const int flags = fcntl(descriptor, F_GETFD);
    if (flags >= 0 && (flags & FD_CLOEXEC) == 0) {
      found.insert(descriptor);
    }
  }
  return found;
}

std::set<int> further_descriptors(const CommandRun& run) {
  std::set<int> found;
  for (const auto& [descriptor, target] : run.descriptors) {
    if (descriptor > STDERR_FILENO) {
      found.insert(descriptor);
    }
  }
  return found;
}

Descriptors standard_descriptors(const CommandRun& run) {
  Descriptors standard = run.descriptors;
  standard.erase(standard.upper_bound(STDERR_FILENO), standard.end());
  return standard;
}

void survive(const std::function<void()>& scenario) {
  // The children that the library creates end with 0 or 1, so a caller that runs on as one of them ends with neither.
  constexpr int kCompleted = 90;
  constexpr int kFailed = 91;
  std::fflush(nullptr);
  const pid_t caller = fork();
  if (caller == 0) {
    scenario();
    std::fflush(nullptr);
    _exit(testing::Test::HasFailure() ? kFailed : kCompleted);
  }
  const auto deadline = steady_clock::now() + 60s;
  int status = 0;
  while (waitpid(caller, &status, WNOHANG) == 0) {
    if (steady_clock::now() > deadline) {
      kill(caller, SIGKILL);
      waitpid(caller, nullptr, 0);
      FAIL() << "the caller hangs";
    }
    std::this_thread::sleep_for(2ms);
  }
  ASSERT_FALSE(WIFSIGNALED(status)) << "the caller was ended by signal " << WTERMSIG(status);
  ASSERT_NE(WEXITSTATUS(status), kFailed) << "the caller's own expectations, above, failed";
  EXPECT_EQ(WEXITSTATUS(status), kCompleted) << "the caller was ended with this status";
}

void set_handler(int signal, void (*handler)(int), int flags) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  ASSERT_EQ(sigaction(signal, &action, nullptr), 0);
}

void expect_no_child_left() {
  errno = 0;
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

namespace {

// For each child that ended: the number of platform calls by then.
constexpr std::size_t kMaxChildren = 16;
volatile std::size_t children_ended = 0;
volatile std::size_t calls_before[kMaxChildren];
volatile int status_of[kMaxChildren];

void note_child(int /*signal*/, siginfo_t* info, void* /*context*/) {
  if (children_ended < kMaxChildren) {
    calls_before[children_ended] = PlatformRecorder::calls().size();
    status_of[children_ended] = info->si_code == CLD_EXITED ? info->si_status : -1;
    children_ended = children_ended + 1;
  }
}

}  // namespace

ChildRecorder::ChildRecorder() {
  children_ended = 0;
  struct sigaction action {};
  action.sa_sigaction = note_child;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  sigaction(SIGCHLD, &action, &before_);
}

ChildRecorder::~ChildRecorder() {
  sigaction(SIGCHLD, &before_, nullptr);
}

std::vector<std::size_t> ChildRecorder::calls() {
  return {std::begin(calls_before), std::begin(calls_before) + children_ended};
}

std::vector<int> ChildRecorder::statuses() {
  return {std::begin(status_of), std::begin(status_of) + children_ended};
}

ClosedDescriptors::ClosedDescriptors(unsigned which) {
  std::fflush(nullptr);
  for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor) {
    kept_[descriptor] = fcntl(descriptor, F_DUPFD_CLOEXEC, 100);
    if ((which >> static_cast<unsigned>(descriptor) & 1U) != 0) {
      close(descriptor);
    }
  }
}

ClosedDescriptors::~ClosedDescriptors() {
  for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor) {
    dup2(kept_[descriptor], descriptor);
    close(kept_[descriptor]);
  }
}

unsigned closed_now() {
  unsigned which = 0;
  for (int descriptor = 0; descriptor <= STDERR_FILENO; ++descriptor) {
    which |= fcntl(descriptor, F_GETFD) < 0 ? 1U << static_cast<unsigned>(descriptor) : 0U;
  }
  return which;
}

}  // namespace annal::test
