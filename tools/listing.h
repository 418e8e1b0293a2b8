// Runs a query of the library and writes its rows.
#pragma once

#include <functional>

#include "Corix_annal.h"
#include "tools/output.h"
#include "tools/page.h"
#include "tools/program.h"

namespace annalctl {

using Query = std::function<int(annal_row_callback callback, void* context, Page::Range range)>;

struct Listing {
  Call call;
  RowShape shape;
  Query query;
};

// Takes one row; false ends the listing.
using TakeRow = std::function<bool(Row values)>;

// Runs a query and returns the library's result. A listing that was ended is a success.
[[nodiscard]] int ask(const Query& query, Page::Range range, const TakeRow& take);

// Both return the exit status, and have reported a failure.
[[nodiscard]] int show_page(const Listing& listing, const Page& page, Program& program);

// The largest groups first, which the library cannot sort by: all of them are collected, then the page is cut from
// them. The size is the last value of a row.
[[nodiscard]] int show_largest(const Listing& listing, const Page& page, Program& program);

}  // namespace annalctl
