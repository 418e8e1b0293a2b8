// Recorders that take the place of the device's commands, and what they have recorded.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace annal::test {

// One run of a command.
struct CommandRun {
  std::string path;                        // where the recorder stood
  std::vector<std::string> arguments;      // the whole vector, argv[0] included
  std::string input;                       // what came on standard input until its end
  std::map<int, std::string> descriptors;  // "r /dev/null": access mode and target, of every open descriptor
  std::map<std::string, std::string> environment;
  int process = 0;
  int parent = 0;
  int group = 0;
  int session = 0;
  std::vector<int> blocked_signals;
  std::vector<int> ignored_signals;
};

// How a recorder behaves beside recording.
struct Behaviour {
  int exit_status = 0;
  bool reads_input = true;
  std::chrono::milliseconds takes{0};  // after it has recorded
};

class Commands {
 public:
  // Installs a recorder in place of a command, such as "/usr/local/sbin/evsh".
  static void install(const std::string& path, const Behaviour& behaviour = {});

  // The runs so far, by the order in which they were recorded.
  static std::vector<CommandRun> runs();

  // Waits until there are at least this many runs (commands that were started detached take their time), and returns
  // them. After ten seconds it returns what there is.
  static std::vector<CommandRun> wait_for(std::size_t count);

  // Waits long enough for a command that was wrongly started to have shown up, and for those that were started detached
  // to end, and returns all runs.
  static std::vector<CommandRun> settled();

  static void reset();
};

}  // namespace annal::test
