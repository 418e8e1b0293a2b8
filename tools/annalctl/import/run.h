// Imports files line by line, whichever log their lines go to.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/output/session.h"

namespace annalctl {

struct ImportRequest {
  std::vector<std::string> files;
  std::uint64_t from_line = 1;  // of the first file
  bool dry_run = false;
};

void add_import_options(CLI::App& command, ImportRequest& request);

struct Stored {
  int code;            // the library's
  std::size_t count;   // of entries that are stored, also when others are not
  std::string seen{};  // the cause, if the one who stored has seen it and the library has not
};

// Where the lines go.
struct LineStore {
  // Makes an entry of a line, or leaves the line out and returns false. Throws Refusal for a bad line.
  std::function<bool(std::string_view line)> take;
  // Stores what has been taken since it did so last.
  std::function<Stored()> store;
  std::size_t batch;  // so many entries are stored at once
};

// Returns the exit status.
[[nodiscard]] int import_files(const ImportRequest& request, const Log& log, const LineStore& lines, Session& session);

}  // namespace annalctl
