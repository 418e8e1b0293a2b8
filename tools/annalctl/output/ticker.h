// Shows progress of work that holds a lock: a paused terminal must not prolong the lock.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace annalctl {

// Writes the line that a function returns to a descriptor, now and then, in a thread of its own. A thread that is stuck
// in writing is abandoned until the process ends.
class Ticker {
 public:
  // line: called by the thread, perhaps after the ticker is gone, so it must own what it uses.
  Ticker(int descriptor, std::function<std::string()> line);
  ~Ticker();
  Ticker(const Ticker&) = delete;
  Ticker& operator=(const Ticker&) = delete;

 private:
  struct State;
  static void run(const std::shared_ptr<State>& state);

  std::shared_ptr<State> state_;
};

}  // namespace annalctl
