// Helpers for the tests of forwarding: the detached commands, and the state of the caller after a call.
#pragma once

#include <csignal>
#include <cstddef>
#include <functional>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/support/commands.h"
#include "tests/support/sqlite_trace.h"

namespace annal::test {

inline constexpr const char* kEvsh = "/usr/local/sbin/evsh";
inline constexpr std::size_t kTextRoom = 10240;  // of a command's formatted arguments

void install_script(const char* path, const std::string& text);

// The calls of the platform's consumer functions, in order.
Calls consumer_calls();

// ---- a command's surroundings ----

using Descriptors = std::map<int, std::string>;

// The descriptors that a command would inherit now, besides the three standard ones.
std::set<int> inheritable_descriptors();

std::set<int> further_descriptors(const CommandRun& run);
Descriptors standard_descriptors(const CommandRun& run);

// ---- the caller's state ----

// Runs a scenario in its own process, because it changes process-wide state. Its failed expectations fail this test,
// and the process must exit normally.
void survive(const std::function<void()>& scenario);

void set_handler(int signal, void (*handler)(int), int flags = 0);

void expect_no_child_left();

// Records the end of every child during this thread's calls of the library, by SIGCHLD.
class ChildRecorder {
 public:
  ChildRecorder();
  ~ChildRecorder();
  ChildRecorder(const ChildRecorder&) = delete;
  ChildRecorder& operator=(const ChildRecorder&) = delete;

  // The number of platform calls before it.
  static std::vector<std::size_t> calls();
  static std::vector<int> statuses();

 private:
  struct sigaction before_ {};
};

// Closes some of the three standard descriptors (bit 0 for descriptor 0) and restores them.
class ClosedDescriptors {
 public:
  explicit ClosedDescriptors(unsigned which);
  ~ClosedDescriptors();
  ClosedDescriptors(const ClosedDescriptors&) = delete;
  ClosedDescriptors& operator=(const ClosedDescriptors&) = delete;

 private:
  int kept_[3] = {-1, -1, -1};
};

// The ones that are closed.
unsigned closed_now();

}  // namespace annal::test
