// "import" for a log that takes only objects with its own columns, and forwards no entry to other programs.
#pragma once

#include <span>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/import/cell.h"
#include "tools/annalctl/import/json_lines.h"
#include "tools/annalctl/import/row_store.h"
#include "tools/annalctl/output/session.h"
#include "tools/annalctl/output/text_table.h"

namespace annalctl {

struct ColumnsImport {
  StoreTarget store;
  std::span<const TableColumn> table;  // of the log's listing, with the id first
  const char* description;
  const char* forms;  // the help's description of the objects
  const char* examples;
  // What the log stores of an object. Throws Refusal for what it cannot store.
  Cells (*cells_of)(const Members& members);
};

// The command keeps the reference.
void add_columns_import(CLI::App& commands, Session& session, const ColumnsImport& import);

}  // namespace annalctl
