// Lists what is new in a log, for a script that runs repeatedly: after an id, or after the position that a file keeps
// between two runs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/query/listing.h"

namespace annalctl {

struct NewsOptions {
  std::optional<std::int64_t> after_id;
  std::string cursor;  // the file; empty: none

  [[nodiscard]] bool given() const { return after_id || !cursor.empty(); }
};

// After the options that it excludes.
void add_news_options(CLI::App& command, NewsOptions& options);
extern const char* const kNewsNotes;

// The oldest first. Returns the exit status, and has reported a failure.
[[nodiscard]] int show_news(const Listing& listing, const NewsOptions& options, const PageOptions& page,
                            Session& session);

}  // namespace annalctl
