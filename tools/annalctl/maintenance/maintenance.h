// Creating, emptying, trimming and migrating a log: the logs differ only in the library's functions.
#pragma once

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/session.h"

namespace annalctl {

void add_create_command(CLI::App& commands, Session& session, const Log& log,
                        int (*create)(int limit, int batch) noexcept);

void add_flush_command(CLI::App& commands, Session& session, const Log& log, int (*flush)() noexcept);

// Deletes the oldest entries and keeps the newest.
void add_trim_command(CLI::App& commands, Session& session, const Log& log, int (*trim)(int keep) noexcept);

// Adds the columns that a log from an earlier release lacks.
void add_migrate_command(CLI::App& commands, Session& session, const Log& log, int (*migrate)() noexcept);

}  // namespace annalctl
