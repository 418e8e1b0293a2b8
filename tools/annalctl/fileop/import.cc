#include <memory>

#include "Corix_annal.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/fileop/record.h"
#include "tools/annalctl/import/run.h"
#include "tools/annalctl/log/result.h"

namespace annalctl::fileop {

namespace {

constexpr char kFooter[] =
    "Each line is a JSON object with the columns of the log, as 'list --json' prints it; event_action is needed:\n"
    "  {\"event_action\":4,\"event_filepath\":\"/share/a\",\n"
    "   \"event_date\":\"2026-11-21\",\"event_time\":\"10:00:00\"}\n"
    "\n"
    "A line that cannot be stored as it is - unknown, or with a text that is too long - is reported with its number "
    "and\n"
    "left out; the others are stored, and the exit status is 1. Nothing is ever cut. Blank lines do not count.\n"
    "\n"
    "Examples:\n"
    "  annalctl fileop --db operations.db import operations.jsonl.gz\n"
    "  annalctl fileop --db old.db list --all --oldest --json | annalctl fileop --db new.db import -";

int run_import(const ImportRequest& request, Session& session) {
  if (!request.dry_run && !check_log_exists(kLog)) {
    return kFailure;
  }
  Operation operation;
  const LineStore lines{
      .take =
          [&operation](std::string_view line) {
            operation = operation_of(parse_json_line(line));
            return true;
          },
      .store =
          [&operation] {
            const int code = operation.store();
            return Stored{code, code == ANNAL_OK ? 1U : 0U};
          },
      .batch = 1,
  };
  return import_files(request, kLog, lines, session);
}

}  // namespace

void add_import(CLI::App& commands, Session& session) {
  CLI::App* const command = commands.add_subcommand("import", "Store the lines of JSON files as file operations");
  const auto request = std::make_shared<ImportRequest>();
  command->footer(kFooter);
  add_import_options(*command, *request);
  command->callback([request, &session] { session.status = run_import(*request, session); });
}

}  // namespace annalctl::fileop
