// One request at a time reads logs. Many at once would share the processors while each has a log locked, and a program
// that adds an entry would wait for all of them.
#pragma once

#include <chrono>

namespace annal_web {

class ReadingTurn {
 public:
  // Waits for the others. Throws Refused when that takes longer than this.
  explicit ReadingTurn(std::chrono::milliseconds at_most);
  ~ReadingTurn();
  ReadingTurn(const ReadingTurn&) = delete;
  ReadingTurn& operator=(const ReadingTurn&) = delete;

  // Lets the next one read.
  void end();

 private:
  int descriptor_;
};

}  // namespace annal_web
