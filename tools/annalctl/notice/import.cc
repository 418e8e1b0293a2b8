// "annalctl notice import": notices from JSON Lines and CSV files.
#include <CLI/CLI.hpp>

#include "tools/annalctl/import/columns_import.h"
#include "tools/annalctl/notice/commands.h"
#include "tools/annalctl/notice/model.h"
#include "tools/annalctl/notice/record.h"

namespace annalctl::notice {

namespace {

constexpr char kForms[] =
    "Each line is a JSON object with the columns of the log, as 'list --json' prints\n"
    "it, or a row of a CSV file with a header, as 'list --csv' prints it:\n"
    "  {\"severity\":3,\"desc\":\"fan 2 stopped\",\"time\":1795255200}\n"
    "What an object leaves out becomes what 'add' stores without the option. No\n"
    "command is run: that is what 'annalctl notify' is for.\n";

constexpr char kExamples[] =
    "Examples:\n"
    "  annalctl notice list --all --oldest --json > notices.jsonl\n"
    "  annalctl notice import --skip-known notices.jsonl";

const ColumnsImport kImport{
    .store = {kLog, {}, "time"},
    .table = kListTable,
    .description = "Store the lines of JSON or CSV files as notices",
    .forms = kForms,
    .examples = kExamples,
    .cells_of = cells_of,
};

}  // namespace

void add_import(CLI::App& commands, Session& session) {
  add_columns_import(commands, session, kImport);
}

}  // namespace annalctl::notice
