// The columns that the user names.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/output/rows.h"

namespace annalctl {

// The columns with these names, in this order: those of the table by their titles, and any by its name in the file,
// with or without the prefix that the log's columns share. Throws Refusal for an unknown name.
[[nodiscard]] std::vector<TableColumn> chosen_columns(const RowShape& shape, std::span<const std::string> names);

}  // namespace annalctl
