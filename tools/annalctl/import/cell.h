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

// monostate: what the log gives an entry itself, such as the date of its time stamp.
using Cell = std::variant<std::monostate, std::int64_t, std::string>;

// In the order of the log's columns, without the id.
using Cells = std::vector<Cell>;

// The value of a column; a null pointer for the id and for what is no column.
[[nodiscard]] Cell* cell_of(Cells& cells, std::span<const Column> columns, std::string_view name);

// An empty text, or a "---", that an object names is stored as that, where a record's would become what the library
// stores for none: what was listed comes back as it was.
void keep_texts_for_none(Cells& cells, std::span<const Column> columns, const Members& members);

}  // namespace annalctl
