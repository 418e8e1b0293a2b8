// Imports files line by line, whichever log their lines go to.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/program.h"

namespace annalctl {

struct ImportRequest {
  std::vector<std::string> files;
  std::uint64_t from_line = 1;  // of the first file
  bool dry_run = false;
};

// Takes one line and returns the library's result. Throws Refusal for a bad line.
using StoreLine = std::function<int(std::string_view line)>;

// Returns the exit status. doing is the call of one store, for reporting.
[[nodiscard]] int import_files(const ImportRequest& request, const Log& log, const StoreLine& store, Program& program);

}  // namespace annalctl
