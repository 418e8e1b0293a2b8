// Ends a command on SIGINT or SIGTERM between two batches.
#include "tools/annalctl/query/interruption.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "tools/annalctl/base/failure.h"

namespace annalctl {

namespace {

volatile std::sig_atomic_t g_writing = 0;
volatile std::sig_atomic_t g_ending = 0;

extern "C" void end_on_signal(int /*signal*/) {
  // Between two batches there is nothing left to write, and reading the log can stop anywhere. It may be waiting 20 s
  // for a lock, and a user who has pressed ^C should not wait that long.
  if (g_writing == 0) {
    _exit(kSuccess);
  }
  g_ending = 1;
}

void end_on(int signal) {
  struct sigaction before {};
  if (sigaction(signal, nullptr, &before) == 0 && before.sa_handler == SIG_IGN) {
    return;  // as under nohup
  }
  struct sigaction action {};
  action.sa_handler = end_on_signal;  // without SA_RESTART: also ends a write to a reader that does not read
  sigemptyset(&action.sa_mask);
  static_cast<void>(sigaction(signal, &action, nullptr));
}

}  // namespace

void end_when_interrupted() {
  end_on(SIGINT);
  end_on(SIGTERM);
}

Writing::Writing() {
  g_writing = 1;
}

Writing::~Writing() {
  g_writing = 0;
  if (g_ending != 0) {
    _exit(kSuccess);
  }
}

void wait_for_interval(double seconds) {
  pollfd reader{STDOUT_FILENO, 0, 0};
  const int ready = poll(&reader, 1, static_cast<int>(seconds * 1000));
  if (ready > 0 && (reader.revents & (POLLERR | POLLHUP)) != 0) {
    throw WriteFailure(EPIPE);
  }
  if (ready > 0) {
    static_cast<void>(poll(nullptr, 0, static_cast<int>(seconds * 1000)));
  }
}

}  // namespace annalctl
