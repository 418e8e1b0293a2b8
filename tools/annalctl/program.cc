#include "tools/annalctl/program.h"

#include <fmt/format.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <iostream>
#include <new>
#include <string>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/catalog/commands.h"
#include "tools/annalctl/check_all.h"
#include "tools/annalctl/conn/commands.h"
#include "tools/annalctl/event/commands.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/files/rights.h"
#include "tools/annalctl/notice/commands.h"

namespace annalctl {

namespace {

constexpr char kFooter[] =
    "Examples:\n"
    "  annalctl event create --limit 50000\n"
    "  annalctl event add 'backup finished' --user admin --app backup\n"
    "  annalctl event list --type error --limit 20\n"
    "  annalctl event list --all --json > events.jsonl\n"
    "  annalctl event import /var/log/dpkg.log\n"
    "  annalctl event tail --type warning\n"
    "  annalctl conn import /var/log/auth.log\n"
    "  annalctl conn group --by ip --failed --since -7d --by-size\n"
    "  annalctl fileop --db operations.db list --path /share/photos\n"
    "  annalctl notice list --severity error --days 7\n"
    "  annalctl notice age 30\n"
    "  annalctl check\n"
    "  annalctl facilities --json\n"
    "  annalctl catalog search fan failed\n"
    "\n"
    "Exit status: 0 success, 1 a failure or refused lines of an import, 2 wrong usage.";

void add_general_options(CLI::App& app, Session& session) {
  app.set_version_flag("--version", std::string("annalctl " ANNALCTL_VERSION), "Show the version and leave");
  auto* const json = app.add_flag("--json", session.json,
                                  "Write rows as JSON Lines, one object a row; bytes that are not UTF-8 become U+FFFD");
  app.add_flag("--csv", session.csv, "Write rows as CSV with a header line")->excludes(json);
}

// The innermost command that was named, whose help is the one to read.
const CLI::App* named_command(const CLI::App& app) {
  const CLI::App* command = &app;
  while (!command->get_subcommands().empty()) {
    command = command->get_subcommands().front();
  }
  return command;
}

std::string full_name(const CLI::App* command) {
  std::string name = command->get_name();
  for (command = command->get_parent(); command != nullptr; command = command->get_parent()) {
    name.insert(0, command->get_name() + " ");
  }
  return name;
}

// A command that does not exist is told as a missing one, which is true and no help.
std::string usage_error(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = app.remaining(true);
  if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr && !unknown.empty()) {
    return fmt::format("'{}' is not known", unknown.front());
  }
  return error.what();
}

int wrong_usage(const CLI::App& app, const std::string& sentence) {
  complain(sentence);
  complain_bare(fmt::format("Run '{} --help' for what it takes.", full_name(named_command(app))));
  return kUsage;
}

int run_command(CLI::App& app, int argc, char** argv, Session& session) {
  try {
    app.parse(argc, argv);
    session.output.finish();
    return session.status;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      return wrong_usage(app, usage_error(app, error));
    }
    // Help and version arrive here, and their text counts as written only when it is.
    errno = 0;
    app.exit(error);
    std::cout.flush();
    session.output.finish();
    if (!std::cout) {
      throw WriteFailure(errno);
    }
    return kSuccess;
  } catch (const Refusal& refusal) {
    return wrong_usage(app, refusal.what());
  }
}

}  // namespace

void add_all_commands(CLI::App& app, Session& session) {
  app.footer(kFooter);
  app.require_subcommand(1);
  add_general_options(app, session);
  add_event_commands(app, session);
  add_conn_commands(app, session);
  add_fileop_commands(app, session);
  add_notice_commands(app, session);
  add_check_of_all(app, session);
  add_facilities(app, session);
  add_catalog_commands(app, session);
  add_notify(app, session);
}

int run_program(int argc, char** argv) {
  open_missing_standard_descriptors();
  // A reader that goes away is noticed by the next write, with the log closed properly behind it.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));

  Session session;
  session.terminal = terminal_of(STDOUT_FILENO);

  CLI::App app("Reads and maintains the logs of the appliance.", "annalctl");
  add_all_commands(app, session);

  try {
    return run_command(app, argc, argv, session);
  } catch (const WriteFailure& failure) {
    if (!failure.reader_gone()) {
      complain(failure.what());
    }
  } catch (const RightsFailure& failure) {
    complain(failure.what());
  } catch (const std::bad_alloc&) {
    complain("out of memory");
  }
  return kFailure;
}

}  // namespace annalctl
