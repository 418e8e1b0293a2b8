// Listing, following, counting and grouping entries: the logs differ in their filters, orders and groupings.
#pragma once

#include <array>
#include <cstddef>
#include <span>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/arguments/page_options.h"
#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/output.h"
#include "tools/annalctl/output/session.h"
#include "tools/annalctl/output/text_table.h"
#include "tools/annalctl/query/filter_options.h"
#include "tools/annalctl/query/order_options.h"
#include "tools/annalctl/query/query.h"

namespace annalctl {

// Groups in the order of what they are grouped by.
constexpr unsigned kByGroups = 1000;

// A way to group: its code, its usual order, the columns whose values a group shares, and the columns to show, which
// say something about a whole group.
struct Grouping {
  Choice choice;
  unsigned sort;
  std::array<const char*, 3> columns;
  std::array<TableColumn, 7> table;
};

// The column of a group's size, which is listed after the log's columns.
constexpr TableColumn size_cell(std::size_t columns) {
  return {"Count", columns, true, nullptr, Room::kWhole};
}

struct QueryCommands {
  const Log& log;
  const char* columns;  // what is listed
  const char* id;       // the column of the ids
  std::span<const TableColumn> table;
  EntryView entry;
  LogFilters filters;
  std::array<const char*, 4> repeats;  // what repeats of an entry share, as SQL: see fold.h
  std::span<const Sort> sorts;
  std::size_t group_sorts;              // how many of them grouping takes
  std::span<const Grouping> groupings;  // may be none
  const char* list_examples;
  const char* count_examples;
  const char* group_notes;
  const char* group_examples;
};

// A command keeps the reference.
void add_list_command(CLI::App& commands, Session& session, const QueryCommands& search);
// "show ID": every field of an entry.
void add_show_command(CLI::App& commands, Session& session, const QueryCommands& search);
void add_tail_command(CLI::App& commands, Session& session, const QueryCommands& search);
void add_count_command(CLI::App& commands, Session& session, const QueryCommands& search);
void add_group_command(CLI::App& commands, Session& session, const QueryCommands& search);

}  // namespace annalctl
