// Starting a command of the device that outlives the call and that nobody waits for.
#pragma once

#include "common/argument_vector.h"

namespace annal {

// How the commands differ in what they find around them.
struct LaunchOptions {
  enum class FirstChild { kKeepsStreams, kClosesStreams };
  enum class Session { kInherited, kOwn };
  enum class Streams {
    kSeparate,  // "/dev/null" for each: reading on 0, writing on 1 and 2
    kShared,    // "/dev/null" opened once, for both; left as they are where it cannot be opened
  };
  enum class Script {
    kRun,      // a file without a header is run by the shell, as from a command line
    kRefused,  // it is not run
  };

  FirstChild first_child;
  Session session;
  Streams streams;
  Script script;
  int status_without_command;  // of the first child when it cannot create the second
};

// Runs the command that the first argument names, two generations away: the caller waits for the first child only,
// which is gone as soon as the command has been started, so the command is nobody's child here and leaves no zombie.
// False when there is no first child: nothing has been started then. Whatever fails behind it does so silently.
//
// Children share the caller's memory until they run the command, so that the cost does not grow with the caller. That
// is why every text is there before this is called. Where the caller's address space has no room for their stacks, they
// get a copy of the caller's memory, as from fork.
bool run_detached(const ArgumentVector& arguments, const LaunchOptions& options) noexcept;

}  // namespace annal
