// A line on the terminal about work that holds a lock: a terminal that is paused must not hold it longer.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace annalctl {

// Writes the line that a function returns to a descriptor, now and then, from a thread of its own. A thread that is
// stuck in writing is left behind, until the process ends.
class Ticker {
 public:
  // line: called by the thread, also after the ticker is gone, for which it has to own what it uses.
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
