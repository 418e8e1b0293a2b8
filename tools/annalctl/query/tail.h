// Shows the newest entries of a log, then each new one: "annalctl LOG tail".
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/output/session.h"
#include "tools/annalctl/query/listing.h"

namespace annalctl {

// Entries are told apart by their ids, which only rise while the table exists, as SQLite's AUTOINCREMENT guarantees
// for it.
struct Tail {
  Listing listing;
};

struct TailOptions {
  int lines = 10;
  bool no_follow = false;
  double interval = 1;  // in seconds
};

// For the help of every log's command.
void add_tail_options(CLI::App& command, TailOptions& options);
[[nodiscard]] std::string tail_footer(const Log& log);

// Returns the exit status, unless SIGINT or SIGTERM ends the program, with success. While following it waits for a log
// that cannot be read.
[[nodiscard]] int show_tail(const Tail& tail, const TailOptions& options, Session& session);

}  // namespace annalctl
