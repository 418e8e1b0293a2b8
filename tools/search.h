// Listing, following, counting and grouping entries, which differ between the logs by the calls of the library and by
// what these can look for.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <span>

#include "Corix_annal.h"
#include "tools/choice.h"
#include "tools/filters.h"
#include "tools/log.h"
#include "tools/page.h"
#include "tools/program.h"
#include "tools/table.h"

namespace annalctl {

// The sort codes that all logs have; one more is the other direction.
enum SortCode : unsigned {
  kOldestFirst = 0,
  kNewestFirst = 1,
  kHighestIdFirst = 13,
};

// One way to group: its code, the order that shows its groups best, and the columns that say something about a group
// as a whole.
struct Grouping {
  Choice choice;
  unsigned sort;
  std::span<const TableColumn> table;
};

// Who gets the rows, and which.
struct Rows {
  annal_row_callback callback;
  void* context;
  unsigned sort;
  Page::Range range;
};

struct Search {
  const Log& log;
  std::span<const TableColumn> table;
  FilterTable filters;
  std::size_t group_texts;        // so many of the filters the grouping knows
  std::span<const Choice> sorts;  // those of ascending order
  std::size_t group_sorts;        // so many of them the grouping knows
  std::span<const Grouping> groupings;
  void (*match_users)(bool exactly);      // or by a part of their names
  void (*check)(const Filters& filters);  // throws Refusal for what the library does not do
  int (*list)(const Filters& filters, const Rows& rows);
  int (*group)(const Filters& filters, unsigned group, const Rows& rows);
  int (*count)(const Filters& filters);
  const char* list_examples;
  const char* count_examples;
  const char* group_notes;
  const char* group_examples;
};

// A command keeps the reference.
void add_list_command(CLI::App& commands, Program& program, const Search& search);
void add_tail_command(CLI::App& commands, Program& program, const Search& search);
void add_count_command(CLI::App& commands, Program& program, const Search& search);
void add_group_command(CLI::App& commands, Program& program, const Search& search);

}  // namespace annalctl
