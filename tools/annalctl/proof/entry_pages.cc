// Reads a log's entries by their ids, a page at a time, unlocked between pages.
#include "tools/annalctl/proof/entry_pages.h"

#include <fmt/format.h>

#include <chrono>

namespace annalctl::proof {

namespace {

constexpr std::size_t kMostEntries = 2048;
constexpr std::size_t kMostBytes = std::size_t{1} << 20U;
constexpr std::chrono::milliseconds kLongest{8};
constexpr std::size_t kLookAtClock = 64;

ContentReader contents_of(Reader& reader, const Log& log) {
  const Reader::Turn turn(reader);
  return {reader, log};
}

}  // namespace

void EntryPage::clear() {
  ids_.clear();
  times_.clear();
  ends_.clear();
  bytes_.clear();
}

std::string_view EntryPage::content(std::size_t entry) const {
  const std::size_t begin = entry == 0 ? 0 : ends_[entry - 1];
  return std::string_view(bytes_).substr(begin, ends_[entry] - begin);
}

EntryPages::EntryPages(Reader& reader, const Log& log, std::int64_t after)
    : reader_(reader),
      contents_(contents_of(reader, log)),
      rows_(
          reader.prepare(fmt::format("SELECT t.rowid, {} FROM {} AS t NOT INDEXED WHERE t.rowid >= ?1 ORDER BY t.rowid",
                                     contents_.columns(), reader.table()))),
      from_(after) {
  if (after != std::numeric_limits<std::int64_t>::min()) {
    ended_ = after == std::numeric_limits<std::int64_t>::max();
    from_ = ended_ ? after : after + 1;
  }
}

bool EntryPages::next(EntryPage& page) {
  page.clear();
  if (ended_) {
    return false;
  }
  {
    const Reader::Turn turn(reader_);
    rows_.bind(1, from_);
    ended_ = true;
    while (reader_.next(rows_)) {
      page.ids_.push_back(rows_.integer(0));
      page.times_.push_back(contents_.time_of(rows_));
      contents_.append(rows_, page.bytes_);
      page.ends_.push_back(page.bytes_.size());
      const std::size_t size = page.size();
      if (size >= kMostEntries || page.bytes_.size() >= kMostBytes ||
          (size % kLookAtClock == 0 && turn.lasted() > kLongest)) {
        const std::int64_t last = page.ids_.back();
        ended_ = last == std::numeric_limits<std::int64_t>::max();
        from_ = ended_ ? last : last + 1;
        break;
      }
    }
    rows_.reset();
  }
  return page.size() > 0;
}

}  // namespace annalctl::proof
