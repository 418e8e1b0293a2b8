// Lists the rows after an id or a saved position.
#include "tools/annalctl/query/news.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <limits>
#include <memory>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/query/position.h"

namespace annalctl {

namespace {

// Writes at most some of the rows after an id, and returns the id of the last one; 0 if there is none.
std::int64_t write_rows(Reader& reader, const Listing& listing, std::int64_t after, std::int64_t limit,
                        Session& session) {
  const std::unique_ptr<RowSink> sink = make_sink(session.view, listing.shape, session.terminal, session.output);
  RowStream stream(reader, listing.query, IdRanges::Direction::kRising, {after, reader.highest_id()});
  RowBuffer page;
  std::int64_t last = 0;
  for (std::int64_t left = limit; left > 0 && stream.next(page); left -= static_cast<std::int64_t>(page.size())) {
    reader.require_released();
    page.keep_only(0, static_cast<std::size_t>(left));
    for (std::size_t row = 0; row < page.size(); ++row) {
      sink->row(page.values(row));
    }
    last = page.id(page.size() - 1);
  }
  sink->finish();
  session.output.finish();
  return last;
}

}  // namespace

const char* const kNewsNotes =
    "--after-id and --cursor show the oldest first, all of them without --limit. The\n"
    "file of --cursor is written after the output, so an interrupted run can simply\n"
    "be repeated. A recreated log is shown from its first entry.\n";

void add_news_options(CLI::App& command, NewsOptions& options) {
  auto* const after =
      command.add_option("--after-id", options.after_id, "Only those stored after the one with this id")
          ->type_name("ID");
  auto* const cursor =
      command.add_option("--cursor", options.cursor, "Only those that are new since the last run with this file")
          ->type_name("FILE")
          ->excludes(after);
  for (const char* other : {"--sort", "--reverse", "--oldest", "--offset", "--fold"}) {
    if (CLI::Option* const option = command.get_option_no_throw(other)) {
      after->excludes(option);
      cursor->excludes(option);
    }
  }
}

int show_news(const Listing& listing, const NewsOptions& options, const PageOptions& page, Session& session) {
  const Log& log = listing.call.log;
  Positions positions = options.cursor.empty() ? Positions() : read_cursor(options.cursor);
  if (!check_log_exists(log)) {
    return kFailure;
  }
  const std::int64_t limit = page.limit_given ? page.limit : std::numeric_limits<std::int64_t>::max();
  try {
    Reader reader(log);
    const std::int64_t after = options.after_id ? *options.after_id : last_id_read(reader, log, positions[log.path]);
    const std::int64_t last = write_rows(reader, listing, after, limit, session);
    if (!options.cursor.empty() && last != 0) {
      positions[log.path] = position_of(reader, log, last);
      write_cursor(options.cursor, positions);
    }
  } catch (const ReadFailure& failure) {
    return report_failure(listing.call, failure);
  } catch (const CursorFailure& failure) {
    complain(failure.what());
    return kFailure;
  }
  return kSuccess;
}

}  // namespace annalctl
