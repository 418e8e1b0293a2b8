// How far a log has been read, for whoever comes back for what is new.
#pragma once

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/query/reader.h"

namespace annalctl {

// The last entry that was read. Its id alone would say nothing in a log that was made anew.
struct Position {
  std::int64_t id = 0;
  std::string time;  // as the log has it, whatever its form
};

// The id after which there is something new: 0 when the log is another one than that of the position.
[[nodiscard]] std::int64_t last_id_read(Reader& reader, const Log& log, const Position& position);

// The position of an entry; of none when it has gone meanwhile.
[[nodiscard]] Position position_of(Reader& reader, const Log& log, std::int64_t id);

// The positions of several logs, by their names, in a file between two runs.
using Positions = std::map<std::string, Position>;

// Nothing for a file that is not there. Throws Refusal for one that is something else.
[[nodiscard]] Positions read_cursor(const std::string& file);

// Replaces the file as a whole: whatever happens, it has the old positions or the new ones. Throws CursorFailure.
void write_cursor(const std::string& file, const Positions& positions);

class CursorFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace annalctl
