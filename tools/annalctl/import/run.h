// Imports files line by line, whichever log their lines go to.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/import/cell.h"
#include "tools/annalctl/import/line_parser.h"
#include "tools/annalctl/import/row_store.h"
#include "tools/annalctl/output/session.h"
#include "tools/annalctl/output/text_table.h"

namespace annalctl {

struct ImportRequest {
  std::vector<std::string> files;
  std::uint64_t from_line = 1;    // of the first file
  std::uint64_t max_refused = 0;  // 0: any number
  bool dry_run = false;
  bool skip_known = false;
  bool notify = false;
  LineOptions lines;
};

struct Stored {
  int code;            // the library's
  std::size_t count;   // of entries that are stored, also when others are not
  std::string seen{};  // the cause, if the one who stored has seen it and the library has not
};

// An entry that a line has become.
struct Entry {
  Cells cells;
  std::string level_from;  // why it has its level, for people; empty where the line says so itself
};

// What the logs differ in.
struct ImportTarget {
  StoreTarget store;
  std::span<const TableColumn> table;  // of its listing, with the id first
  bool lines;                          // takes other programs' lines, and not its own columns only
  // Makes an entry of a line, or leaves the line out. Throws Refusal for a bad line.
  std::function<std::optional<Entry>(const ParsedLine& line)> entry_of;
  // Hands what entry_of has returned since it was last called, and was not passed over, to the library, which tells the
  // other consumers. Null for a log without any.
  std::function<Stored()> notify;
  // Takes back the last entry, which is known to the log.
  std::function<void()> pass_over;
  std::size_t notify_batch;  // so many entries go to the library at once
};

void add_import_options(CLI::App& command, ImportRequest& request, bool lines, bool consumers);

// What every import's help says of safety and speed.
extern const char* const kImportNotes;
// Of the formats, for a help text of 80 columns.
[[nodiscard]] std::string format_notes();
// Of the names in --pattern and in the header of a foreign CSV file.
[[nodiscard]] std::string field_notes();

// Returns the exit status.
[[nodiscard]] int import_files(const ImportRequest& request, const ImportTarget& target, Session& session);

}  // namespace annalctl
