// The rows of a query in an order that ids do not give, or its groups, from a private temporary database: sorting takes
// as long as it takes, and the log is not locked for it.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/annalctl/query/query.h"
#include "tools/annalctl/query/reader.h"
#include "tools/annalctl/query/row_buffer.h"

namespace annalctl {

using TakePage = std::function<void(const RowBuffer& page)>;

// Both hand over rows from offset on, at most limit of them, a page at a time and with nothing locked. A row that is
// deleted before its turn is left out.
void read_sorted(Reader& reader, const Query& query, std::int64_t limit, std::int64_t offset, const TakePage& take);
void read_groups(Reader& reader, const Query& query, std::int64_t limit, std::int64_t offset, const TakePage& take);

}  // namespace annalctl
