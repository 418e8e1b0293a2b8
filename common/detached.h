// Starts a command of the device that outlives the call and that the caller never waits for.
#pragma once

#include "common/argument_vector.h"

namespace annal {

// What the commands disagree on: streams, session, scripts and the first child's exit status.
struct LaunchOptions {
  enum class FirstChild { kKeepsStreams, kClosesStreams };
  enum class Session { kInherited, kOwn };
  enum class Streams {
    kSeparate,  // "/dev/null" for each: reading on 0, writing on 1 and 2
    kShared,    // "/dev/null" opened once, for both; unchanged if it cannot be opened
  };
  enum class Script {
    kRun,      // the shell runs a file without a "#!" line, as it does from a command line
    kRefused,  // such a file does not run
  };

  FirstChild first_child;
  Session session;
  Streams streams;
  Script script;
  int status_without_command;  // exit status of the first child if it cannot create the second
};

// Runs the command that the first argument names, as a grandchild. The caller waits only for the first child, which
// exits as soon as it has started the command, so the command leaves the caller no zombie. Returns false, with nothing
// started, if the first child could not be created. Later failures are silent.
//
// Children share the caller's memory until they run the command, so the cost does not grow with the caller. So every
// text must be ready before this call. If the caller's address space has no room for their stacks, they get a copy of
// the caller's memory, as from fork.
bool run_detached(const ArgumentVector& arguments, const LaunchOptions& options) noexcept;

}  // namespace annal
