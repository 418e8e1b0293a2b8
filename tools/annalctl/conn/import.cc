// "annalctl conn import": connections from other programs' logs.
#include <CLI/CLI.hpp>
#include <array>
#include <memory>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/names.h"
#include "tools/annalctl/conn/batch.h"
#include "tools/annalctl/conn/commands.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/conn/record.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/run.h"

namespace annalctl::conn {

namespace {

constexpr std::size_t kNotifyBatch = 500;

// The numbers of log-ins, which have no names in this log.
constexpr int kLogInService = 7;
constexpr int kLogInAction = 9;

constexpr char kWhatCounts[] =
    "  jsonl      {\"conn_user\":\"bob\",\"conn_ip\":\"10.0.0.7\"}, as 'list --json' has it\n"
    "  csv        with a header: the columns that 'list --csv' prints\n"
    "\n"
    "Recognizes the log-ins that OpenSSH's server, PAM, su and sudo report, in any\n"
    "format: 'Accepted METHOD for USER from ADDRESS', 'Failed ...', 'authentication\n"
    "failure; ... rhost=ADDRESS user=USER', 'USER : ... COMMAND=...'. Other lines are\n"
    "left out and counted. So are lines with a host's name instead of its address, and\n"
    "PAM's line about an attempt that sshd reports, too. A line that is marked as\n"
    "repeated is one connection. With --pattern, or in a CSV file with the names\n"
    "below, each line is a connection.\n"
    "\n"
    "An accepted log-in becomes information with the result 0, a failed one a warning\n"
    "with the result 13. One without an address is the machine's own, 127.0.0.1; an\n"
    "object without a user gets System.\n"
    "\n"
    "A connection keeps the time of its line or object. With --notify the library\n"
    "stores it, and stamps it with the time of the import: when a log-in was is then\n"
    "put in front of its resource.\n";

constexpr char kExamples[] =
    "Examples:\n"
    "  annalctl conn import /var/log/auth.log /var/log/auth.log.2.gz\n"
    "  journalctl -o json -t sshd -t sudo | annalctl conn import --skip-known -\n"
    "  annalctl conn import --dry-run --service 8 --action 1 auth.log";

// As the library's batch does it.
constexpr std::array kGiven{
    GivenByLog{"conn_date", "strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME')"},
    GivenByLog{"conn_time", "strftime('%H:%M:%S', CURRENT_TIMESTAMP, 'LOCALTIME')"},
};

struct Arguments {
  ImportRequest request;
  std::optional<unsigned> level;
  int service = kLogInService;
  int action = kLogInAction;
};

// A user who gives a pattern declares its lines to be log-ins.
std::optional<LogIn> log_in_from(const LogLine& line, const LineOptions& options) {
  if (options.pattern.empty() && options.format != "csv") {
    return log_in_of(line);
  }
  return LogIn{line.severity == Severity::kInformation, line.user, line.address};
}

std::optional<Entry> entry_of(const ParsedLine& parsed, const Arguments& arguments, ConnRecord& record) {
  const auto* const line = std::get_if<LogLine>(&parsed);
  std::optional<LogIn> log_in;
  if (line != nullptr) {
    log_in = log_in_from(*line, arguments.request.lines);
    if (!log_in) {
      return {};
    }
    record = record_of(*line, *log_in);
    record.conn_serv = arguments.service;
    record.conn_action = arguments.action;
  } else {
    record = record_of(std::get<Members>(parsed));
  }
  if (arguments.level) {
    record.conn_type = static_cast<std::int32_t>(*arguments.level);
  }
  Entry entry{line != nullptr ? cells_of(record) : cells_of(record, std::get<Members>(parsed)),
              arguments.level    ? "--type"
              : !log_in          ? "conn_type"
              : log_in->accepted ? "accepted"
                                 : "failed"};
  if (line != nullptr) {
    set_time(entry.cells, line->time);
    if (arguments.request.notify) {
      put_time_into_resource(record, line->time);
    }
  }
  return entry;
}

int run_import(const Arguments& arguments, Session& session) {
  std::vector<ConnRecord> records;
  const ImportTarget target{
      .store = {kLog, kGiven, "conn_time"},
      .table = kListTable,
      .lines = true,
      .entry_of = [&arguments, &records](const ParsedLine& line) -> std::optional<Entry> {
        ConnRecord record{};
        std::optional<Entry> entry = entry_of(line, arguments, record);
        if (entry && arguments.request.notify && !arguments.request.dry_run) {
          records.push_back(record);
        }
        return entry;
      },
      .notify =
          [&records] {
            Stored stored = store(records);
            records.clear();
            return stored;
          },
      .pass_over =
          [&records] {
            if (!records.empty()) {
              records.pop_back();
            }
          },
      .notify_batch = kNotifyBatch,
  };
  return import_files(arguments.request, target, session);
}

}  // namespace

void add_import(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("import", "Store the log-ins of log files as connections");
  const auto arguments = std::make_shared<Arguments>();
  command->footer(format_notes() + kWhatCounts + "\n" + field_notes() + "\n" + kImportNotes + "\n" + kExamples);
  add_import_options(*command, arguments->request, true, true);
  add_choice(*command, "--type", arguments->level, kLevels, "Level of all entries");
  auto* const service =
      command->add_option("--service", arguments->service, "The service of log-ins, 0 to 12; without it 7")
          ->type_name("N")
          ->check(CLI::Range(0, static_cast<int>(kHighestService)));
  take_names(service, Named::kService);
  auto* const action =
      command->add_option("--action", arguments->action, "The action of log-ins, 0 to 36; without it 9")
          ->type_name("N")
          ->check(CLI::Range(0, static_cast<int>(kHighestAction)));
  take_names(action, Named::kAction);
  command->callback([arguments, &session] { session.status = run_import(*arguments, session); });
}

}  // namespace annalctl::conn
