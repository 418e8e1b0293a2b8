#include <memory>

#include "tools/annalctl/import/run.h"
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

int run_import(const ImportRequest& request, Session& session) {
  const ImportTarget target{
      .store = {kLog, {}, "time"},
      .table = kListTable,
      .lines = false,
      .entry_of = [](const ParsedLine& line) -> std::optional<Entry> {
        return Entry{cells_of(std::get<Members>(line)), {}};
      },
      .notify = {},
      .pass_over = {},
      .notify_batch = 0,
  };
  return import_files(request, target, session);
}

}  // namespace

void add_import(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("import", "Store the lines of JSON or CSV files as notices");
  const auto request = std::make_shared<ImportRequest>();
  command->footer(std::string(kForms) + "\n" + kImportNotes + "\n" + kExamples);
  add_import_options(*command, *request, false, false);
  command->callback([request, &session] { session.status = run_import(*request, session); });
}

}  // namespace annalctl::notice
