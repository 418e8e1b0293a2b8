// Repeats: entries that say the same but for numbers, addresses and names, shown as one with their count.
#pragma once

#include <string>
#include <string_view>

#include "tools/annalctl/base/sqlite.h"

namespace annalctl {

// The text without what differs from one repeat to the next: '#' in place of each number, time, address and long
// hexadecimal word, '@' in place of the user's name. "Failed password for root from 10.0.0.5 port 22 ssh2" by root is
// "Failed password for @ from # port # ssh#". Takes any bytes, in time in proportion to their number.
[[nodiscard]] std::string folded(std::string_view text, std::string_view user = {});

// The same as the SQL function fold(text, user), for Query::groups. To be called before a statement with it is
// prepared.
void add_folding(const SqliteDatabase& database);

}  // namespace annalctl
