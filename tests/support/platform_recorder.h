// Records the library's calls of the platform's functions. Each call goes on to the stand-in unless the test sets a
// result.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace annal::test {

class PlatformRecorder {
 public:
  // Every call since the last reset, in order, written as in C: SNMPTrap_Send_Alert("Fan failed.", 2).
  static const std::vector<std::string>& calls();

  // The calls of one function.
  static std::vector<std::string> calls_of(std::string_view function);

  // Makes a function return this value, without calling the stand-in, until the next reset.
  static void answer(std::string_view function, int value);

  // Runs an action at the beginning of each call of a function, until the next reset.
  static void meanwhile(std::string_view function, std::function<void()> action);

  static void reset();
};

}  // namespace annal::test
