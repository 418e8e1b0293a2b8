// The notice log as data: its file, its columns and the facilities that notices come from.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/base/log.h"
#include "tools/annalctl/output/output.h"
#include "tools/annalctl/output/text_table.h"
#include "tools/annalctl/query/query_commands.h"

namespace annalctl::notice {

extern Log kLog;

struct Facility {
  int number;
  std::string name;
};

[[nodiscard]] std::vector<Facility> facilities();

// From a facility's number, or its name in any case. Throws Refusal for anything else.
[[nodiscard]] int facility_of(const std::string& text);

// Seconds since 1970, from a number, with or without "@" in front, or a local time. Throws Refusal for anything else.
[[nodiscard]] std::int64_t seconds_of(const std::string& text);

extern const std::span<const Choice> kSeverities;

extern const std::span<const Sort> kSorts;

extern const std::span<const Grouping> kGroupings;

extern const std::span<const TableColumn> kListTable;
extern const EntryView kEntry;

// The log's queries.
extern const QueryCommands kQueries;

}  // namespace annalctl::notice
