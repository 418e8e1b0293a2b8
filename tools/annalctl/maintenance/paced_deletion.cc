// Deletes rows in steps that adapt to the speed of the disk.
#include "tools/annalctl/maintenance/paced_deletion.h"

#include <fmt/format.h>

#include <algorithm>
#include <thread>
#include <utility>
#include <vector>

#include "tools/annalctl/maintenance/change.h"

namespace annalctl {

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kFirst = 16;
constexpr std::size_t kMost = 1024;
constexpr milliseconds kShort{15};
constexpr milliseconds kLong{30};  // A busy disk may take three times that.
constexpr milliseconds kLeastPause{5};

}  // namespace

PacedDeletion::PacedDeletion(Reader& reader, Query guard)
    : reader_(reader),
      guard_(std::move(guard)),
      statement_(reader.prepare(fmt::format("DELETE FROM {} AS t{}", reader.table(), where(guard_, "t.rowid = ?1")))),
      at_once_(kFirst) {
  bind_values(statement_, guard_, 2);
}

std::size_t PacedDeletion::delete_first(std::span<const std::int64_t> ids) {
  std::size_t done = 0;
  std::int64_t deleted = 0;
  Clock::duration held{};
  {
    Change change(reader_);
    const auto locked = Clock::now();
    while (done < std::min(ids.size(), at_once_) && (done == 0 || Clock::now() - locked < kShort)) {
      statement_.bind(1, ids[done]);
      reader_.next(statement_);
      deleted += sqlite3_changes64(sqlite3_db_handle(statement_.handle()));
      statement_.reset();
      ++done;
    }
    change.finish();
    held = Clock::now() - locked;
  }
  deleted_ += deleted;
  learn_from(held);
  // Waiting programs retry the lock only now and then.
  std::this_thread::sleep_for(std::max<Clock::duration>(held, kLeastPause));
  return done;
}

void PacedDeletion::learn_from(Clock::duration held) {
  if (held < kShort) {
    at_once_ = std::min(at_once_ * 2, kMost);
  } else if (held > kLong) {
    at_once_ = std::max<std::size_t>(at_once_ / 2, 1);
  }
}

void delete_matching(Reader& reader, const Query& query, std::int64_t& deleted) {
  Query ids = query;
  ids.columns = "NULL";
  PacedDeletion deletion(reader, query);
  RowStream stream(reader, ids, IdRanges::Direction::kRising, {.through = reader.highest_id()});
  RowBuffer page;
  while (stream.next(page)) {
    std::vector<std::int64_t> found(page.size());
    for (std::size_t row = 0; row < found.size(); ++row) {
      found[row] = page.id(row);
    }
    for (std::span<const std::int64_t> left = found; !left.empty();) {
      left = left.subspan(deletion.delete_first(left));
      deleted = deletion.deleted();
    }
  }
}

}  // namespace annalctl
