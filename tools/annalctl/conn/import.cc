#include <array>
#include <ctime>
#include <memory>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/conn/batch.h"
#include "tools/annalctl/conn/commands.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/conn/record.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/run.h"
#include "tools/annalctl/log/result.h"

namespace annalctl::conn {

namespace {

constexpr std::size_t kBatch = 500;

// Numbers that this log has no names for, agreed on here.
constexpr int kLogInService = 7;
constexpr int kLogInAction = 9;

constexpr char kFooter[] =
    "Formats, told apart line by line unless --format names one:\n"
    "  sshd    Jun 14 15:16:01 host sshd[123]: Failed password for invalid user bob from 203.0.113.7 port 4711 ssh2\n"
    "          and 'Accepted METHOD for USER from ADDRESS', with any time that a syslog has in front\n"
    "  jsonl   {\"conn_user\":\"bob\",\"conn_ip\":\"203.0.113.7\",\"conn_serv\":7}, as 'list --json' prints it\n"
    "\n"
    "An accepted log-in becomes information with the result 0, a failed one a warning with the result 13. Other lines\n"
    "of a syslog are left out and counted: most of what sshd and PAM write beside these two tells of the same attempt\n"
    "again. A line that a syslog marks as repeated is one connection.\n"
    "\n"
    "The log stamps its entries with the time of the import. When a log-in happened is put in front of its resource,\n"
    "which has the whole line behind it; conn_date and conn_time of an object are not stored. An object without an\n"
    "address gets 127.0.0.1, one without a user System.\n"
    "\n"
    "A line that cannot be stored as it is - unknown, without an address, or with a text that is too long - is "
    "reported\n"
    "with its number and left out; the others are stored, and the exit status is 1. Nothing is ever cut. Blank lines "
    "do\n"
    "not count. What is stored is handed to the other consumers of the log, as always.\n"
    "\n"
    "Examples:\n"
    "  annalctl conn import /var/log/auth.log /var/log/auth.log.2.gz\n"
    "  journalctl -o short-iso -t sshd | annalctl conn import -\n"
    "  annalctl conn import --dry-run --service 8 --action 1 auth.log";

constexpr unsigned code(LineFormat format) {
  return static_cast<unsigned>(format);
}

constexpr std::array kFormats{
    Choice{"auto", code(LineFormat::kUnknown)},
    Choice{"sshd", code(LineFormat::kSyslog)},
    Choice{"jsonl", code(LineFormat::kJsonLines)},
};

struct Arguments {
  ImportRequest request;
  std::optional<unsigned> format;
  std::optional<unsigned> level;
  int service = kLogInService;
  int action = kLogInAction;
};

std::optional<ConnRecord> parse(std::string_view line, LineFormat format, std::int64_t now,
                                const Arguments& arguments) {
  switch (format == LineFormat::kUnknown ? looks_like(line) : format) {
    case LineFormat::kSyslog: {
      const LogLine parsed = parse_syslog(line, now);
      const std::optional<LogIn> log_in = log_in_of(parsed);
      if (!log_in) {
        return {};
      }
      ConnRecord record = record_of(parsed, *log_in);
      record.conn_serv = arguments.service;
      record.conn_action = arguments.action;
      return record;
    }
    case LineFormat::kJsonLines:
      return record_of(parse_json_line(line));
    case LineFormat::kDpkg:
    case LineFormat::kUnknown:
      break;
  }
  throw Refusal("it is no line of a syslog or of JSON Lines");
}

int run_import(const Arguments& arguments, Session& session) {
  if (!arguments.request.dry_run && !check_log_exists(kLog)) {
    return kFailure;
  }
  const auto format = static_cast<LineFormat>(arguments.format.value_or(code(LineFormat::kUnknown)));
  const std::int64_t now = std::time(nullptr);
  std::vector<ConnRecord> records;
  const LineStore lines{
      .take =
          [&arguments, format, now, &records](std::string_view line) {
            const std::optional<ConnRecord> record = parse(line, format, now, arguments);
            if (record && !arguments.request.dry_run) {
              records.push_back(*record);
              if (arguments.level) {
                records.back().conn_type = static_cast<std::int32_t>(*arguments.level);
              }
            }
            return record.has_value();
          },
      .store =
          [&records] {
            Stored stored = store(records);
            records.clear();
            return stored;
          },
      .batch = kBatch,
  };
  return import_files(arguments.request, kLog, lines, session);
}

}  // namespace

void add_import(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("import", "Store the log-ins of log files as connections");
  const auto arguments = std::make_shared<Arguments>();
  command->footer(kFooter);
  add_import_options(*command, arguments->request);
  add_choice(*command, "--format", arguments->format, kFormats, "Format of the lines; without it auto");
  add_choice(*command, "--type", arguments->level, kLevels, "Level of all connections, whatever the lines say");
  command->add_option("--service", arguments->service, "The service of log-ins, 0 to 12; without it 7")
      ->type_name("N")
      ->check(CLI::Range(0, static_cast<int>(kHighestService)));
  command->add_option("--action", arguments->action, "The action of log-ins, 0 to 36; without it 9")
      ->type_name("N")
      ->check(CLI::Range(0, static_cast<int>(kHighestAction)));
  command->callback([arguments, &session] { session.status = run_import(*arguments, session); });
}

}  // namespace annalctl::conn
