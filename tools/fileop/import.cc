#include <memory>

#include "Corix_annal.h"
#include "tools/fileop/commands.h"
#include "tools/fileop/model.h"
#include "tools/fileop/record.h"
#include "tools/import/run.h"
#include "tools/number.h"
#include "tools/result.h"

namespace annalctl::fileop {

namespace {

constexpr char kFooter[] =
    "Each line is a JSON object with the columns of the log, as 'list --json' prints it; event_action is needed:\n"
    "  {\"event_action\":4,\"event_filepath\":\"/share/a\",\"event_date\":\"2026-11-21\","
    "\"event_time\":\"10:00:00\"}\n"
    "\n"
    "A line that cannot be stored as it is - unknown, or with a text that is too long - is reported with its number "
    "and\n"
    "left out; the others are stored, and the exit status is 1. Nothing is ever cut. Blank lines do not count.\n"
    "\n"
    "Examples:\n"
    "  annalctl fileop --db operations.db import operations.jsonl.gz\n"
    "  annalctl fileop --db old.db list --all --oldest --json | annalctl fileop --db new.db import -";

int run_import(const ImportRequest& request, Program& program) {
  if (!request.dry_run && !log_is_there(kLog)) {
    return kFailure;
  }
  const StoreLine store = [&request](std::string_view line) {
    Operation operation = operation_of(parse_json_line(line));
    return request.dry_run ? static_cast<int>(ANNAL_OK) : operation.store();
  };
  return import_files(request, kLog, store, program);
}

}  // namespace

void add_import(CLI::App& commands, Program& program) {
  CLI::App* const command = commands.add_subcommand("import", "Store the lines of JSON files as file operations");
  const auto request = std::make_shared<ImportRequest>();
  command->footer(kFooter);
  command->add_option("FILE", request->files, "Files to read, also gzipped ones; '-' is standard input")->required();
  command->add_option("--from-line", request->from_line, "Leave out the lines before this one in the first file")
      ->type_name("N")
      ->check(at_least(1));
  command->add_flag("--dry-run", request->dry_run, "Only say what would be stored");
  command->callback([request, &program] { program.status = run_import(*request, program); });
}

}  // namespace annalctl::fileop
