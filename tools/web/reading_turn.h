// One request at a time reads logs. Many at once would share the processors while each has a log locked, and a program
// that adds an entry would wait for all of them.
#pragma once

#include <chrono>
#include <cstddef>

namespace annal_web {

class ReadingTurn {
 public:
  // Waits for those that asked before. Throws Refused when that takes longer than this.
  explicit ReadingTurn(std::chrono::milliseconds at_most);
  ~ReadingTurn();
  ReadingTurn(const ReadingTurn&) = delete;
  ReadingTurn& operator=(const ReadingTurn&) = delete;

  // Requests that wait for this one.
  [[nodiscard]] std::size_t waiting() const;

  // Lets the next one read.
  void end();

 private:
  int semaphore_;
};

}  // namespace annal_web
