// Regular expressions in conditions, as SQLite's operator REGEXP. They take time in proportion to the text, whatever is
// in it: texts of logs are not to be trusted.
#pragma once

#include <string>

#include "tools/annalctl/base/sqlite.h"

namespace annalctl {

// Throws Refusal for what is no expression, and for one that takes too much memory.
void require_regular_expression(const std::string& pattern);

// To be called before a statement with such a condition is prepared.
void add_regular_expressions(const SqliteDatabase& database);

}  // namespace annalctl
