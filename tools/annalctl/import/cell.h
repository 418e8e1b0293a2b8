// The values of one entry, as SQLite stores them.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/import/json_lines.h"

namespace annalctl {

// monostate: left to the log, such as the date of a time stamp.
using Cell = std::variant<std::monostate, std::int64_t, std::string>;

// In the order of the log's columns, without the id.
using Cells = std::vector<Cell>;

// The value of a column; null for the id and for an unknown column.
[[nodiscard]] Cell* cell_of(Cells& cells, std::span<const Column> columns, std::string_view name);

// Stores an empty text or "---" that an object names unchanged, where the library would replace a record's by its
// default: so listed entries are imported as they were.
void keep_texts_for_none(Cells& cells, std::span<const Column> columns, const Members& members);

}  // namespace annalctl
