// Shows the newest entries of a log, and each new one when it is there: "annalctl LOG tail".
#pragma once

#include <CLI/CLI.hpp>

#include "tools/annalctl/output/session.h"
#include "tools/annalctl/query/listing.h"

namespace annalctl {

// Entries are told apart by their ids, which only rise for as long as the table lives, as SQLite's AUTOINCREMENT has
// it.
struct Tail {
  Listing listing;
};

struct TailOptions {
  int lines = 10;
  bool no_follow = false;
  double interval = 1;  // in seconds
};

// Both stand in the help of every log's command.
void add_tail_options(CLI::App& command, TailOptions& options);
[[nodiscard]] std::string tail_footer(const Log& log);

// Returns the exit status, unless SIGINT or SIGTERM ends the program, with success. While it follows, a log that cannot
// be read is waited for.
[[nodiscard]] int show_tail(const Tail& tail, const TailOptions& options, Session& session);

}  // namespace annalctl
