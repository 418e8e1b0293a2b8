// The program as its commands see it: where output goes, in which form, and how it ends.
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/terminal.h"
#include "tools/annalctl/output/output.h"

namespace annalctl {

struct Program {
  bool json = false;
  bool csv = false;
  Terminal terminal;
  Output output{stdout};
  int status = kSuccess;

  [[nodiscard]] Format format() const {
    if (json) {
      return Format::kJson;
    }
    return csv ? Format::kCsv : Format::kTable;
  }
};

// Everything that a command line may name. The commands of a group are made when the group is named.
void add_all_commands(CLI::App& app, Program& program);

// The whole run: reads the command line, carries it out and returns the exit status.
[[nodiscard]] int run_program(int argc, char** argv);

}  // namespace annalctl
