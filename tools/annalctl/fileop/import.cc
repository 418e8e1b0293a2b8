// "annalctl fileop import": file operations from JSON Lines.
#include <array>
#include <memory>

#include "Corix_annal.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/fileop/record.h"
#include "tools/annalctl/import/run.h"

namespace annalctl::fileop {

namespace {

constexpr char kForms[] =
    "Each line is a JSON object with the columns of the log, as 'list --json' prints\n"
    "it, or a row of a CSV file with a header, as 'list --csv' prints it. It needs an\n"
    "event_action:\n"
    "  {\"event_action\":4,\"event_filepath\":\"/share/a\",\n"
    "   \"event_date\":\"2026-11-21\",\"event_time\":\"10:00:00\"}\n";

constexpr char kExamples[] =
    "Examples:\n"
    "  annalctl fileop --db operations.db import operations.jsonl.gz\n"
    "  annalctl fileop --db old.db list --all --oldest --json |\n"
    "    annalctl fileop --db new.db import -";

// Of an operation without a time.
constexpr std::array kGiven{
    GivenByLog{"event_date", "strftime('%Y-%m-%d', 'now', 'localtime')"},
    GivenByLog{"event_time", "strftime('%H:%M:%S', 'now', 'localtime')"},
};

int run_import(const ImportRequest& request, Session& session) {
  const ImportTarget target{
      .store = {kLog, kGiven, "event_time"},
      .table = kListTable,
      .lines = false,
      .entry_of = [](const ParsedLine& line) -> std::optional<Entry> {
        const auto& members = std::get<Members>(line);
        return Entry{cells_of(operation_of(members), members), {}};
      },
      .notify = {},
      .pass_over = {},
      .notify_batch = 0,
  };
  return import_files(request, target, session);
}

}  // namespace

void add_import(CLI::App& commands, Session& session) {
  CLI::App* const command =
      commands.add_subcommand("import", "Store the lines of JSON or CSV files as file operations");
  const auto request = std::make_shared<ImportRequest>();
  command->footer(std::string(kForms) + "\n" + kImportNotes + "\n" + kExamples);
  add_import_options(*command, *request, false, false);
  command->callback([request, &session] { session.status = run_import(*request, session); });
}

}  // namespace annalctl::fileop
