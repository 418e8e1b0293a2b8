// "annalctl event import": events from other programs' logs.
#include <CLI/CLI.hpp>
#include <array>
#include <memory>

#include "Corix_annal.h"
#include "tools/annalctl/event/commands.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/event/record.h"
#include "tools/annalctl/import/line_fields.h"
#include "tools/annalctl/import/line_level.h"
#include "tools/annalctl/import/run.h"
#include "tools/annalctl/log/level.h"

namespace annalctl::event {

namespace {

constexpr char kOwnForms[] =
    "  jsonl      {\"event_type\":2,\"event_desc\":\"text\"}, as 'list --json' prints it\n"
    "  csv        with a header: the columns of 'list --csv', or the names below\n";

constexpr char kExamples[] =
    "Examples:\n"
    "  annalctl event import /var/log/dpkg.log /var/log/dpkg.log.1.gz\n"
    "  annalctl event list --all --oldest --json | ssh other annalctl event import -\n"
    "  journalctl -b -o json | annalctl event import --skip-known -\n"
    "  annalctl event import --dry-run messages\n"
    "  annalctl event import --time-format '%y%m%d %H%M%S' --pattern \\\n"
    "    '^(?P<time>\\d+ \\d+) (?P<pid>\\d+) (?P<level>\\w+) (?P<message>.*)' \\\n"
    "    HDFS.log";

// The time stamp's own date and time.
constexpr std::array kGiven{
    GivenByLog{"event_date", "DATE(?9, 'UNIXEPOCH', 'LOCALTIME')"},
    GivenByLog{"event_time", "TIME(?9, 'UNIXEPOCH', 'LOCALTIME')"},
};

struct Arguments {
  ImportRequest request;
  std::optional<unsigned> level;
};

int run_import(const Arguments& arguments, Session& session) {
  EventRecord record{};
  const ImportTarget target{
      .store = {kLog, kGiven, "event_timet"},
      .table = kListTable,
      .lines = true,
      .entry_of = [&arguments, &record](const ParsedLine& line) -> std::optional<Entry> {
        const auto* const members = std::get_if<Members>(&line);
        const auto* const parsed = std::get_if<LogLine>(&line);
        record = members != nullptr ? record_of(*members) : record_of(*parsed);
        if (arguments.level) {
          record.event_type = static_cast<std::int32_t>(*arguments.level);
        }
        const std::string by_line = parsed != nullptr ? parsed->level_from : "event_type";
        return Entry{members != nullptr ? cells_of(record, *members) : cells_of(record),
                     arguments.level ? "--type" : by_line};
      },
      .notify =
          [&record] {
            const int result = annal_event_add_msgid_ex3(&record);
            return Stored{result, result == ANNAL_OK ? 1U : 0U};
          },
      .pass_over = {},
      .notify_batch = 1,
  };
  return import_files(arguments.request, target, session);
}

}  // namespace

void add_import(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("import", "Store the lines of log files as events");
  const auto arguments = std::make_shared<Arguments>();
  command->footer(format_notes() + kOwnForms + "\n" + field_notes() + "\n" + kLevelRules + "\n" + kImportNotes + "\n" +
                  kExamples);
  add_import_options(*command, arguments->request, true, true);
  add_choice(*command, "--type", arguments->level, kLevels, "Level of all events");
  command->callback([arguments, &session] { session.status = run_import(*arguments, session); });
}

}  // namespace annalctl::event
