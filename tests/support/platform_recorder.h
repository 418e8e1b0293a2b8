// What the library asks of the platform's libraries. The recorders stand in front of the stand-ins and pass each call
// on to them, unless a test wants another answer.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace annal::test {

class PlatformRecorder {
 public:
  // Every call since the last reset, in order, as it would be written in C: SNMPTrap_Send_Alert("Fan failed.", 2).
  static const std::vector<std::string>& calls();

  // The calls of one function alone.
  static std::vector<std::string> calls_of(std::string_view function);

  // Makes a function answer this value, without passing its calls on, until the next reset.
  static void answer(std::string_view function, int value);

  // Has something done at the beginning of each call of a function, until the next reset.
  static void meanwhile(std::string_view function, std::function<void()> action);

  static void reset();
};

}  // namespace annal::test
