// Command lines of annalctl's in which anything may be wrong, made from the commands and options that the program
// itself has: none can be forgotten here.
#pragma once

#include <functional>
#include <string>
#include <vector>

namespace annal::test {

struct Parameter {
  std::vector<std::string> names;  // with their dashes; none for one that its place tells
  bool takes_value;
  bool required;
  std::vector<std::string> likely_values;
};

struct Command {
  std::vector<std::string> words;  // as "event", "list"
  // What each of the words takes itself, in their order, behind what the program takes.
  std::vector<std::vector<Parameter>> parameters;
};

// Every command of the program, the groups of commands too.
[[nodiscard]] std::vector<Command> all_commands();

// 0 to one less than the bound, which is 256 at most.
using Choose = std::function<unsigned(unsigned bound)>;

// One line for the command, without the program's name. No path in it leads out of /etc/logs, to a program that is run
// there.
[[nodiscard]] std::vector<std::string> command_line(const Command& command, const std::vector<Command>& all,
                                                    const Choose& choose);

// As a shell would read it.
[[nodiscard]] std::string quoted(const std::vector<std::string>& arguments);

}  // namespace annal::test
