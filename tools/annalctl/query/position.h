// How far a log has been read, for continuing later.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/query/reader.h"

namespace annalctl {

// The last entry that was read. Its id alone would mean nothing in a recreated log.
struct Position {
  std::int64_t id = 0;
  std::string time;  // as the log stores it, in any form
};

// The id after which entries are new: 0 if the log is not the position's.
[[nodiscard]] std::int64_t last_id_read(Reader& reader, const Log& log, const Position& position);

// The position of an entry, or none if it is gone.
[[nodiscard]] Position position_of(Reader& reader, const Log& log, std::int64_t id);

// A file that keeps the positions of several logs, by name, between two runs.
using Positions = std::map<std::string, Position>;

// Nothing for a missing file. Throws Refusal for any other file.
[[nodiscard]] Positions read_cursor(const std::string& file);

// Replaces the whole file: whatever happens, it has the old positions or the new ones. Throws CursorFailure.
void write_cursor(const std::string& file, const Positions& positions);

class CursorFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace annalctl
