// Recorders that replace the device's commands, and their recordings.
#pragma once

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace annal::test {

// One run of a command.
struct CommandRun {
  std::string path;                        // the recorder's path
  std::vector<std::string> arguments;      // including argv[0]
  std::string input;                       // all of standard input
  std::map<int, std::string> descriptors;  // every open descriptor's access mode and target, such as "r /dev/null"
  std::map<std::string, std::string> environment;
  int process = 0;
  int parent = 0;
  int group = 0;
  int session = 0;
  std::vector<int> blocked_signals;
  std::vector<int> ignored_signals;
};

// How a recorder behaves besides recording.
struct Behaviour {
  int exit_status = 0;
  bool reads_input = true;
  std::chrono::milliseconds takes{0};  // the delay after recording
};

class Commands {
 public:
  // Installs a recorder at a command's path, such as "/usr/local/sbin/evsh".
  static void install(const std::string& path, const Behaviour& behaviour = {});

  // The runs so far, in the order of recording.
  static std::vector<CommandRun> runs();

  // Waits until there are at least this many runs, because detached commands finish later, and returns them. After ten
  // seconds it returns the runs so far.
  static std::vector<CommandRun> wait_for(std::size_t count);

  // Waits for detached commands to end, and long enough for an unexpected one to appear, and returns all runs.
  static std::vector<CommandRun> settled();

  static void reset();
};

}  // namespace annal::test
