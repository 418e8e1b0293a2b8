// Regular expressions in conditions, as SQLite's operator REGEXP. Their time is proportional to the text, whatever it
// contains: the texts of logs are not trusted.
#pragma once

#include <string>

#include "tools/annalctl/base/sqlite.h"

namespace annalctl {

// Throws Refusal for an invalid expression, and for one that needs too much memory.
void require_regular_expression(const std::string& pattern);

// Call this before preparing a statement with such a condition.
void add_regular_expressions(const SqliteDatabase& database);

}  // namespace annalctl
