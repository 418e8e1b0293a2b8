// The entries of a page, with all that is shown of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tools/web/open_log.h"
#include "tools/web/pass.h"
#include "tools/web/selection.h"

namespace annal_web {

struct Line {
  Place place;
  const Part* part = nullptr;
  std::int64_t level = 0;
  std::string date;  // as the log has it: the appliance's time
  std::string time;
  std::string moment;  // "2026-11-21T10:00:00+01:00"; empty when it is not known
  std::string user;
  std::string address;
  std::string computer;
  std::string application;
  std::string message;
  // Of one that stands for its repeats.
  std::size_t count = 1;
  std::string other_time;  // that of the last of them, in the page's order
};

// Reads the entries of some places; those that have gone meanwhile are left out.
[[nodiscard]] std::vector<Line> read_lines(std::vector<OpenLog>& logs, const std::vector<Place>& places);

struct Folding {
  std::vector<Line> lines;
  Place last;         // of the last entry that is in one of them
  bool whole = true;  // all entries are
};
// Puts entries that say the same into one line, up to so many lines.
[[nodiscard]] Folding fold(std::vector<Line> lines, std::size_t most);

// Of a page that ends at a place: leaves out the first entries, until the rest fits into so many lines. True if it left
// any out.
bool keep_last(std::vector<Line>& lines, std::size_t most);

// Every column of an entry.
struct Field {
  std::string name;
  std::optional<std::string> value;
  std::string meaning;  // of a code; empty if it has none
};
struct Entry {
  Line line;
  std::vector<Field> fields;
};
[[nodiscard]] std::optional<Entry> read_entry(OpenLog& log, std::int64_t id);

// The places of the entries that were added around one, whatever is selected; the newest first.
[[nodiscard]] std::vector<Place> neighbours(OpenLog& log, std::int64_t id);
// Those of them that meet the conditions of the selection.
[[nodiscard]] std::vector<Place> selected(OpenLog& log, const std::vector<Place>& places);

}  // namespace annal_web
