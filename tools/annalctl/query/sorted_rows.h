// The rows of a query in another order than that of ids, or its groups, from a private temporary database: the log is
// not locked while they are sorted.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "tools/annalctl/query/query.h"
#include "tools/annalctl/query/reader.h"
#include "tools/annalctl/query/row_buffer.h"

namespace annalctl {

using TakePage = std::function<void(const RowBuffer& page)>;

// Both pass on rows from offset on, at most limit of them, a page at a time, with nothing locked. They leave out a row
// that is deleted before its turn.
void read_sorted(Reader& reader, const Query& query, std::int64_t limit, std::int64_t offset, const TakePage& take);
void read_groups(Reader& reader, const Query& query, std::int64_t limit, std::int64_t offset, const TakePage& take);

}  // namespace annalctl
