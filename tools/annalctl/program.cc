// The command line as a whole: parses it, runs the command and reports failures.
#include "tools/annalctl/program.h"

#include <fmt/format.h>
#include <unistd.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <iostream>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/annalctl/all_entries.h"
#include "tools/annalctl/all_logs.h"
#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/arguments/names.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/sqlite.h"
#include "tools/annalctl/catalog/commands.h"
#include "tools/annalctl/check_all.h"
#include "tools/annalctl/commands/log_commands.h"
#include "tools/annalctl/completion.h"
#include "tools/annalctl/conn/commands.h"
#include "tools/annalctl/event/commands.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/files/log_system.h"
#include "tools/annalctl/files/rights.h"
#include "tools/annalctl/log/place.h"
#include "tools/annalctl/notice/commands.h"
#include "tools/annalctl/notice/device_commands.h"
#include "tools/annalctl/output/help_format.h"
#include "tools/annalctl/proof/declared_deletions.h"
#include "tools/annalctl/proof_all.h"
#include "tools/annalctl/suggestion.h"
#include "tools/annalctl/usage_message.h"

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
    "  annalctl info\n"
    "  annalctl keep --days 90 --size 200M\n"
    "  annalctl --dir /mnt/customer/logs event list\n"
    "  annalctl facilities --json\n"
    "  annalctl catalog search fan failed\n"
    "\n"
    "Exit status: 0 success, 1 a failure or refused lines of an import, 2 wrong usage,\n"
    "or 'verify' cannot tell.";

constexpr std::array kFormats{
    Choice{"table", static_cast<unsigned>(Format::kTable)},
    Choice{"json", static_cast<unsigned>(Format::kJson)},
    Choice{"csv", static_cast<unsigned>(Format::kCsv)},
    Choice{"full", static_cast<unsigned>(Format::kFull)},
};

void add_general_options(CLI::App& app, Session& session) {
  app.set_version_flag("--version,-V", std::string("annalctl " ANNALCTL_VERSION), "Show the version and exit");
  const auto form = [&session](Format format) { return [&session, format] { session.view.format = format; }; };
  auto* const json =
      app.add_flag_callback("--json", form(Format::kJson),
                            "Write rows as JSON Lines, one object a row; bytes that are not UTF-8 become U+FFFD");
  auto* const csv =
      app.add_flag_callback("--csv", form(Format::kCsv), "Write rows as CSV with a header line")->excludes(json);
  auto* const output = app.add_option_function<std::string>(
      "--output,-o",
      [&session](const std::string& name) {
        session.view.format = static_cast<Format>(require_code(kFormats, "--output", name));
      },
      fmt::format("How to write rows: {}", names_of(kFormats)));
  offer(output->type_name("FORM"), kFormats)->excludes(json)->excludes(csv);
  app.add_flag_callback(
      "--no-pager", [&session] { session.pager = false; },
      "Write long output to the terminal instead of to $PAGER (less -FRX)");
  app.add_option_function<std::string>("--names", use_names,
                                       "Names for the numbers of services, actions and file operations; default:\n"
                                       "/etc/Corix_annal/names.tsv, if it exists")
      ->type_name("FILE");
  app.add_option("--dir", session.place.folder, "Another folder of logs: opens them read-only and creates nothing")
      ->type_name("FOLDER");
  app.add_flag("--write", session.place.write, "Allow changes to a log elsewhere (--dir, --db)");
}

// The innermost command on the command line, whose help is the one to read.
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

using Words = std::vector<std::string>;

// The parser returns them in an order of its own.
std::string first_of(const Words& some, const Words& line) {
  const auto found = std::find_first_of(line.begin(), line.end(), some.begin(), some.end());
  return found == line.end() ? some.front() : *found;
}

std::string unknown(const CLI::App& command, const std::string& word) {
  const std::optional<std::string> meant = suggestion(command, word);
  return fmt::format("'{}' is not known{}", word, meant ? fmt::format("; did you mean '{}'?", *meant) : "");
}

// The parser reports an unknown command as a missing one, which is true but does not help.
std::string usage_error(const CLI::App& app, const CLI::ParseError& error, const Words& line) {
  const CLI::App& command = *named_command(app);
  const Words extra = app.remaining(true);
  const bool missing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr;
  const bool unexpected = dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr;
  if (extra.empty() || !(missing || unexpected)) {
    return usage_message(command, error.what());
  }
  const std::string word = first_of(extra, line);
  const bool group = !command.get_subcommands([](const CLI::App* part) { return !part->get_name().empty(); }).empty();
  return group || word.starts_with('-') ? unknown(command, word) : fmt::format("'{}' is not expected here", word);
}

int wrong_usage(const CLI::App& app, const std::string& sentence) {
  complain(sentence);
  complain_bare(fmt::format("Run '{} --help' for its options.", full_name(named_command(app))));
  return kUsage;
}

bool is_command(const CLI::App& app, const std::string& word) {
  const auto commands = app.get_subcommands([&word](const CLI::App* command) { return command->get_name() == word; });
  return !commands.empty();
}

// "help event list" and "event help list" are "event list --help". Throws Refusal for an unknown command.
Words with_help_as_option(const CLI::App& app, Words line) {
  constexpr char kHelp[] = "help";
  const bool first = !line.empty() && line[0] == kHelp;
  const bool second = line.size() > 1 && line[1] == kHelp && is_command(app, line[0]);
  if (!first && !second) {
    return line;
  }
  line.erase(line.begin() + (first ? 0 : 1));
  if (!line.empty() && !line[0].starts_with('-') && !is_command(app, line[0])) {
    throw Refusal(unknown(app, line[0]));
  }
  line.emplace_back("--help");
  return line;
}

// "redact event" is "event redact".
Words with_log_first(const CLI::App& app, Words line) {
  constexpr char kRedact[] = "redact";
  if (line.size() > 1 && line[0] == kRedact && is_command(app, line[1])) {
    std::swap(line[0], line[1]);
  }
  return line;
}

int run_command(CLI::App& app, int argc, char** argv, Session& session) {
  Words line(argv + 1, argv + argc);
  try {
    line = with_help_as_option(app, with_log_first(app, std::move(line)));
    app.parse(Words(line.rbegin(), line.rend()));
    session.output.finish();
    return session.status;
  } catch (const CLI::ParseError& error) {
    if (error.get_exit_code() != 0) {
      return wrong_usage(app, usage_error(app, error, line));
    }
    // Help and version arrive here. They succeed only if their text was written.
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
  app.formatter(std::make_shared<HelpFormat>());
  app.require_subcommand(1);
  add_general_options(app, session);
  for (const LogCommands* log : {&event::kCommands, &conn::kCommands, &fileop::kCommands, &notice::kCommands}) {
    add_log_commands(app, session, *log);
  }
  add_log_of_all(app, session);
  add_check_of_all(app, session);
  add_info_of_all(app, session);
  add_keep_of_all(app, session);
  add_seal_of_all(app, session);
  add_verify_of_all(app, session);
  CLI::App* const redact = app.add_subcommand("redact", "Take what is personal out of a log's entries, for good");
  redact->footer(
      "'annalctl redact LOG' is 'annalctl LOG redact': see 'annalctl event redact --help'\n"
      "for its options. LOG is event, conn, notice, or fileop with --db FILE.\n"
      "\n"
      "Examples:\n"
      "  annalctl redact event --exact-user ann --dry-run\n"
      "  annalctl redact event --exact-user ann\n"
      "  annalctl redact fileop --db operations.db --id 4711");
  redact->callback([] { throw Refusal("it does not say which log: 'annalctl redact event' and so on"); });
  add_facilities(app, session);
  add_catalog_commands(app, session);
  add_notify(app, session);
  add_completion(app, session, add_all_commands);
  app.add_subcommand("help", "Show a command's help: 'annalctl help event list'")->callback([] {
    throw CLI::CallForHelp();
  });
  app.footer(kFooter);  // last: the commands above would inherit it
}

int run_program(int argc, char** argv) {
  open_missing_standard_descriptors();
  // The next write notices a reader that has gone, and the log is closed properly.
  static_cast<void>(std::signal(SIGPIPE, SIG_IGN));

  remember_failures();
  install_log_system();
  forget_places();
  declare_deletions();

  Session session;
  session.terminal = terminal_of(STDOUT_FILENO);

  CLI::App app("Read and maintain the logs of the appliance", "annalctl");
  add_all_commands(app, session);

  try {
    return run_command(app, argc, argv, session);
  } catch (const WriteFailure& failure) {
    if (session.output.pager_was_left()) {
      return kSuccess;
    }
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
