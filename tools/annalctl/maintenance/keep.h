// Deletes what is too old or too much, the oldest first, without delaying writers: "annalctl [LOG] keep".
#pragma once

#include <cstdint>
#include <string>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

struct KeepOptions {
  int days = 0;            // 0: entries of any age
  std::uint64_t size = 0;  // in bytes; 0: any size
  bool dry_run = false;
};

void add_keep_options(CLI::App& command, KeepOptions& options);
// Throws Refusal if neither is given.
void require_what_to_keep(const KeepOptions& options);
extern const char* const kKeepNotes;

// Returns the exit status.
[[nodiscard]] int run_keep(const Log& log, const KeepOptions& options, Session& session);

void add_keep_command(CLI::App& commands, Session& session, const Log& log);

}  // namespace annalctl
