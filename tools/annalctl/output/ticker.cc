// Writes progress in a thread of its own, so that a paused terminal does not pause the work.
#include "tools/annalctl/output/ticker.h"

#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

namespace annalctl {

namespace {

constexpr std::chrono::milliseconds kFirst{500};  // work that ends before needs no line
constexpr std::chrono::milliseconds kInterval{100};
constexpr std::chrono::milliseconds kPatience{200};

}  // namespace

struct Ticker::State {
  int descriptor;
  std::function<std::string()> line;
  std::mutex mutex;
  std::condition_variable changed;
  bool ends = false;
  bool ended = false;
};

Ticker::Ticker(int descriptor, std::function<std::string()> line) : state_(std::make_shared<State>()) {
  state_->descriptor = descriptor;
  state_->line = std::move(line);
  try {
    std::thread(run, state_).detach();
  } catch (const std::system_error&) {
    state_->ended = true;  // The work matters, not the line.
  }
}

Ticker::~Ticker() {
  std::unique_lock lock(state_->mutex);
  state_->ends = true;
  state_->changed.notify_all();
  state_->changed.wait_for(lock, kPatience, [this] { return state_->ended; });
}

void Ticker::run(const std::shared_ptr<State>& state) {
  const auto put = [&state](const std::string& text) {
    static_cast<void>(write(state->descriptor, text.data(), text.size()) < 0);
  };
  std::unique_lock lock(state->mutex);
  bool drawn = false;
  while (!state->changed.wait_for(lock, drawn ? kInterval : kFirst, [&state] { return state->ends; })) {
    lock.unlock();
    // The cursor goes back at once, so that the next output starts the line.
    put(state->line() + "\033[K\r");
    drawn = true;
    lock.lock();
  }
  if (drawn) {
    lock.unlock();
    put("\033[K");
    lock.lock();
  }
  state->ended = true;
  state->changed.notify_all();
}

}  // namespace annalctl
