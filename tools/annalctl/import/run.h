// Imports files line by line into any log.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/base/cli_types.h"
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
  std::size_t count;   // of stored entries, even if others failed
  std::string seen{};  // the cause, if storing has found one
};

// An entry made of a line.
struct Entry {
  Cells cells;
  std::string level_from;  // why it has its level, for people; empty if the line says so
};

// Where the logs differ.
struct ImportTarget {
  StoreTarget store;
  std::span<const TableColumn> table;  // of its listing, with the id first
  bool lines;                          // whether it takes other programs' lines besides its own columns
  // Makes an entry of a line, or nothing to leave the line out. Throws Refusal for a bad line.
  std::function<std::optional<Entry>(const ParsedLine& line)> entry_of;
  // Passes what entry_of has returned since the last call, and pass_over has not taken back, to the library, which
  // tells the other consumers. Null for a log without any.
  std::function<Stored()> notify;
  // Takes back the last entry, which the log has already.
  std::function<void()> pass_over;
  std::size_t notify_batch;  // how many entries go to the library at once
};

void add_import_options(CLI::App& command, ImportRequest& request, bool lines, bool consumers);

// On safety and speed, for every import's help.
extern const char* const kImportNotes;
// The formats, for a help text of 80 columns.
[[nodiscard]] std::string format_notes();
// The names in --pattern and in the header of a foreign CSV file.
[[nodiscard]] std::string field_notes();

// Returns the exit status.
[[nodiscard]] int import_files(const ImportRequest& request, const ImportTarget& target, Session& session);

}  // namespace annalctl
