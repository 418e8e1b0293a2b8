// Notes SIGINT and SIGTERM for work that ends in order.
#include "tools/annalctl/import/stop.h"

#include <csignal>
#include <initializer_list>

namespace annalctl {

namespace {

volatile std::sig_atomic_t caught = 0;

void note(int signal) {
  caught = signal;
}

}  // namespace

void catch_stop_signals() {
  for (const int signal : {SIGINT, SIGTERM}) {
    struct sigaction action {};
    action.sa_handler = note;
    action.sa_flags = static_cast<int>(SA_RESETHAND);  // and no SA_RESTART
    sigemptyset(&action.sa_mask);
    static_cast<void>(sigaction(signal, &action, nullptr));
  }
}

const char* stop_signal() {
  const int signal = caught;
  return signal == 0 ? nullptr : signal == SIGINT ? "SIGINT" : "SIGTERM";
}

}  // namespace annalctl
