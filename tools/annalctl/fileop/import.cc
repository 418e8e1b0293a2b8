// "annalctl fileop import": file operations from JSON Lines and CSV files.
#include <CLI/CLI.hpp>
#include <array>

#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/fileop/record.h"
#include "tools/annalctl/import/columns_import.h"

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

Cells cells_of_operation(const Members& members) {
  return cells_of(operation_of(members), members);
}

const ColumnsImport kImport{
    .store = {kLog, kGiven, "event_time"},
    .table = kListTable,
    .description = "Store the lines of JSON or CSV files as file operations",
    .forms = kForms,
    .examples = kExamples,
    .cells_of = cells_of_operation,
};

}  // namespace

void add_import(CLI::App& commands, Session& session) {
  add_columns_import(commands, session, kImport);
}

}  // namespace annalctl::fileop
