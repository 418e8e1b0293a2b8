// What the tests of every log's forwarding look at: the commands that outlive a call, and the caller they leave behind.
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

void install_script(const char* path, const std::string& text);

// The calls of the platform's functions that take entries, in order.
Calls consumer_calls();

// ---- what a command is given ----

using Descriptors = std::map<int, std::string>;

// Every descriptor that a command started now gets from this process, beside the three standard ones.
std::set<int> inheritable_descriptors();

std::set<int> further_descriptors(const CommandRun& run);
Descriptors standard_descriptors(const CommandRun& run);

// ---- what becomes of the caller ----

// Runs a scenario in a process of its own, because it changes what is the whole process's. The scenario's expectations
// count here, and the process must come to its end.
void survive(const std::function<void()>& scenario);

void set_handler(int signal, void (*handler)(int), int flags = 0);

void expect_no_child_left();

// Notes the end of every child of this thread in its calls of the library: it is then that the signal comes.
class ChildrenNoted {
 public:
  ChildrenNoted();
  ~ChildrenNoted();
  ChildrenNoted(const ChildrenNoted&) = delete;
  ChildrenNoted& operator=(const ChildrenNoted&) = delete;

  // How many of the platform's functions had been called by then.
  static std::vector<std::size_t> calls();
  static std::vector<int> statuses();

 private:
  struct sigaction before_ {};
};

// Closes some of the three standard descriptors (bit 0 stands for descriptor 0), and puts them back.
class Closed {
 public:
  explicit Closed(unsigned which);
  ~Closed();
  Closed(const Closed&) = delete;
  Closed& operator=(const Closed&) = delete;

 private:
  int kept_[3] = {-1, -1, -1};
};

// Which of them are closed.
unsigned closed_now();

}  // namespace annal::test
