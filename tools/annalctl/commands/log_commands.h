// A log's commands, "annalctl LOG …", as a row of data: which it has, and what each calls.
#pragma once

#include <span>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/maintenance/delete_command.h"
#include "tools/annalctl/output/session.h"
#include "tools/annalctl/query/query_commands.h"

namespace annalctl {

// A command that only one log has, or that differs too much between them.
using AddCommand = void (*)(CLI::App& commands, Session& session);

// Null: the log has no such command.
struct LogCommands {
  Log& log;
  const QueryCommands& queries;  // list, show, tail, count; group, if there are groupings
  const DeleteCommand& deletion;
  int (*create)(int limit, int batch) noexcept;
  int (*flush)() noexcept;
  int (*trim)(int keep) noexcept;
  int (*migrate)() noexcept;

  AddCommand add;
  AddCommand import;
  AddCommand age;
  AddCommand own_migrate;  // in place of the usual one

  std::span<const char* const> personal;  // the columns about a person, which 'redact' replaces
};

// The program keeps the reference.
void add_log_commands(CLI::App& app, Session& session, const LogCommands& of);

}  // namespace annalctl
