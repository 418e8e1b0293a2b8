// The columns that somebody asks for by their names.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/output/rows.h"

namespace annalctl {

// The columns of these names, in their order: those of the table by their titles, and any by its name in the file, with
// or without what all of the log's begin with. Throws Refusal for one that there is not.
[[nodiscard]] std::vector<TableColumn> chosen_columns(const RowShape& shape, std::span<const std::string> names);

}  // namespace annalctl
