// Finds an entry's values by column.
#include "tools/annalctl/import/cell.h"

#include <algorithm>
#include <cstddef>

namespace annalctl {

Cell* cell_of(Cells& cells, std::span<const Column> columns, std::string_view name) {
  const auto found =
      std::find_if(columns.begin(), columns.end(), [name](const Column& column) { return column.name == name; });
  return found == columns.end() || found == columns.begin()
             ? nullptr
             : &cells.at(static_cast<std::size_t>(found - columns.begin()) - 1);
}

void keep_texts_for_none(Cells& cells, std::span<const Column> columns, const Members& members) {
  for (const Member& member : members) {
    Cell* const cell = cell_of(cells, columns, member.key);
    if (cell != nullptr && !member.null && (member.text.empty() || member.text == "---") &&
        std::holds_alternative<std::string>(*cell)) {
      *cell = member.text;
    }
  }
}

}  // namespace annalctl
