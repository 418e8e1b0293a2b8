// Lists the rows of a query: those of a table, or its groups.
#pragma once

#include <cstdint>
#include <span>

#include "tools/annalctl/arguments/page_options.h"
#include "tools/annalctl/output/output.h"
#include "tools/annalctl/output/session.h"
#include "tools/annalctl/query/query.h"
#include "tools/annalctl/query/reader.h"
#include "tools/annalctl/query/sorted_rows.h"

namespace annalctl {

struct Listing {
  Call call;
  RowShape shape;
  Query query;
};

// Passes on the rows of a window, a page at a time, with nothing locked.
void read_rows(Reader& reader, const Query& query, PageOptions::Window window, const TakePage& take);

// These return the exit status, and report failures.
[[nodiscard]] int show_page(const Listing& listing, const PageOptions& page, Session& session);
// The entries with these ids, in this order; a failure if one does not exist.
[[nodiscard]] int show_entries(const Listing& listing, std::span<const std::int64_t> ids, Session& session);
[[nodiscard]] int show_count(const Listing& listing, Session& session);

// Prints why a log could not be read, and returns the exit status.
[[nodiscard]] int report_failure(const Call& call, const ReadFailure& failure);
[[nodiscard]] std::string failure_text(const Call& call, const ReadFailure& failure);

}  // namespace annalctl
