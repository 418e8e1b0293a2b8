// Writes the pages of a listing as they are read.
#include "tools/annalctl/query/listing.h"

#include <fmt/format.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/query/sorted_rows.h"

namespace annalctl {

namespace {

// Writes pages of rows, and says if the tool's own limit has left some out.
class PageWriter {
 public:
  PageWriter(const Listing& listing, const PageOptions& page, Session& session)
      : columns_(listing.shape.columns.size()),
        grouped_(!listing.query.groups.empty()),
        page_(page),
        sink_(make_sink(session.view, listing.shape, session.terminal, session.output)) {}

  void write(const RowBuffer& rows) {
    for (std::size_t row = 0; row < rows.size() && !more_; ++row) {
      more_ = page_.bounded() && written_ == page_.limit;
      if (!more_) {
        sink_->row(values_of(rows, row));
        ++written_;
      }
    }
  }

  void finish(Session& session) {
    sink_->finish();
    session.output.finish();
    session.output.end_page();
    if (more_ && !page_.limit_given) {
      complain(fmt::format("these are {} rows, and there are more: see --all, --limit and --offset", written_));
    }
  }

 private:
  // The size of a group stands behind all columns of this release, also where the table has fewer.
  [[nodiscard]] std::vector<const char*> values_of(const RowBuffer& rows, std::size_t row) const {
    std::vector<const char*> values = rows.values(row);
    if (grouped_ && !values.empty() && values.size() < columns_) {
      values.insert(values.end() - 1, columns_ - values.size(), nullptr);
    }
    return values;
  }

  std::size_t columns_;
  bool grouped_;
  const PageOptions& page_;
  std::unique_ptr<RowSink> sink_;
  int written_ = 0;
  bool more_ = false;
};

// The order of ids needs no sorting.
void read_by_id(Reader& reader, const Query& query, PageOptions::Window window, const TakePage& take) {
  using Direction = IdRanges::Direction;
  RowStream stream(reader, query, query.descending ? Direction::kFalling : Direction::kRising,
                   {.through = reader.highest_id()});
  RowBuffer page;
  for (auto [left, skipped] = window; left > 0 && stream.next(page);) {
    const auto rows = static_cast<std::int64_t>(page.size());
    page.keep_only(static_cast<std::size_t>(skipped), static_cast<std::size_t>(left));
    skipped -= std::min(skipped, rows);
    left -= static_cast<std::int64_t>(page.size());
    take(page);
  }
}

}  // namespace

void read_rows(Reader& reader, const Query& query, PageOptions::Window window, const TakePage& take) {
  if (window.limit == 0) {
    return;
  }
  if (query.goes_by_id()) {
    read_by_id(reader, query, window, take);
    return;
  }
  RowBuffer page;
  const auto [limit, offset] = window;
  const bool filtered = query.groups.empty() && !query.conditions.empty();
  if ((filtered && reader.read_in_order(query, limit, offset, page)) ||
      reader.read_at_once(query, limit, offset, page)) {
    take(page);
    return;
  }
  (query.groups.empty() ? read_sorted : read_groups)(reader, query, limit, offset, take);
}

std::string failure_text(const Call& call, const ReadFailure& failure) {
  const std::string cause = failure.what();
  const std::string refusal =
      failure.refusal().empty() ? "" : fmt::format("SQLite refuses the statement: {}", failure.refusal());
  return cause.empty()
             ? failure_text(Call{call.log, call.doing, call.purpose, failure.begun()}, failure.code(), refusal)
             : fmt::format("cannot {}: {}", call.doing, cause);
}

int report_failure(const Call& call, const ReadFailure& failure) {
  complain(failure_text(call, failure));
  return kFailure;
}

int show_page(const Listing& listing, const PageOptions& page, Session& session) {
  if (!check_log_exists(listing.call.log)) {
    return kFailure;
  }
  std::optional<PageWriter> writer;
  try {
    Reader reader(listing.call.log);
    // A missing table is a failure even if no row is wanted, and prints no titles.
    static_cast<void>(reader.prepare(fmt::format("SELECT 1 FROM {} AS t{}", reader.table(), where(listing.query))));
    session.page();
    writer.emplace(listing, page, session);
    read_rows(reader, listing.query, page.window(), [&reader, &writer](const RowBuffer& rows) {
      reader.require_released();
      writer->write(rows);
    });
  } catch (const ReadFailure& failure) {
    return report_failure(listing.call, failure);
  }
  writer->finish(session);
  return kSuccess;
}

int show_entries(const Listing& listing, std::span<const std::int64_t> ids, Session& session) {
  if (!check_log_exists(listing.call.log)) {
    return kFailure;
  }
  int status = kSuccess;
  try {
    Reader reader(listing.call.log);
    session.page();
    const std::unique_ptr<RowSink> sink = make_sink(session.view, listing.shape, session.terminal, session.output);
    std::vector<std::int64_t> missing;
    for (const std::int64_t id : ids) {
      RowStream stream(reader, listing.query, IdRanges::Direction::kRising, {id - 1, id});
      RowBuffer page;
      if (stream.next(page)) {
        reader.require_released();
        sink->row(page.values(0));
      } else {
        missing.push_back(id);
      }
    }
    sink->finish();
    session.output.finish();
    session.output.end_page();
    for (const std::int64_t id : missing) {
      complain(fmt::format("there is no entry {} among the {}", id, listing.call.log.entries));
      status = kFailure;
    }
  } catch (const ReadFailure& failure) {
    return report_failure(listing.call, failure);
  }
  return status;
}

int show_count(const Listing& listing, Session& session) {
  if (!check_log_exists(listing.call.log)) {
    return kFailure;
  }
  std::int64_t count = 0;
  try {
    count = Reader(listing.call.log).count(listing.query);
  } catch (const ReadFailure& failure) {
    return report_failure(listing.call, failure);
  }
  write_number(session.format(), "count", count, session.output);
  return kSuccess;
}

}  // namespace annalctl
