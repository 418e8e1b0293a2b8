// Imports objects with a log's own columns.
#include "tools/annalctl/import/columns_import.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <memory>
#include <optional>

#include "tools/annalctl/import/run.h"

namespace annalctl {

namespace {

int run_import(const ColumnsImport& import, const ImportRequest& request, Session& session) {
  const ImportTarget target{
      .store = import.store,
      .table = import.table,
      .lines = false,
      .entry_of = [&import](const ParsedLine& line) -> std::optional<Entry> {
        return Entry{import.cells_of(std::get<Members>(line)), {}};
      },
      .notify = {},
      .pass_over = {},
      .notify_batch = 0,
  };
  return import_files(request, target, session);
}

}  // namespace

void add_columns_import(CLI::App& commands, Session& session, const ColumnsImport& import) {
  CLI::App* const command = commands.add_subcommand("import", import.description);
  const auto request = std::make_shared<ImportRequest>();
  command->footer(fmt::format("{}\n{}\n{}", import.forms, kImportNotes, import.examples));
  add_import_options(*command, *request, false, false);
  command->callback([request, &session, &import] { session.status = run_import(import, *request, session); });
}

}  // namespace annalctl
