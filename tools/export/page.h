// Records that were read and not yet sent: as many as memory and the log's writers stand.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/sqlite.h"
#include "tools/export/record.h"
#include "tools/export/source_log.h"

namespace exporter {

class Page {
 public:
  static constexpr std::size_t kMostBytes = std::size_t{1} << 20U;

  void clear();

  // The row where "SELECT t.*" stands.
  void add_entry(const annalctl::SqliteStatement& row, const LogShape& shape, Kind kind = Kind::kEntry);
  void add_gap(std::int64_t first, std::int64_t count);
  // Of an entry that is there no more. seconds: its date and time, taken for universal time.
  void add_redaction(std::int64_t id, std::int64_t seconds);
  void add_head(std::int64_t number, std::int64_t sealed, std::string_view chain, std::string_view json);

  [[nodiscard]] bool full(std::size_t most_records) const {
    return records_.size() >= most_records || bytes_ >= kMostBytes;
  }
  [[nodiscard]] bool empty() const { return records_.empty(); }
  // Valid until the page changes.
  [[nodiscard]] std::span<const Record> records();

 private:
  Record& add_without_row(Kind kind, std::int64_t id, std::int64_t seconds);

  struct Range {
    std::size_t begin;
    std::size_t count;
  };

  std::string_view keep(std::string_view text);
  std::string_view keep_clean(std::string_view text);
  Field field_of(const annalctl::SqliteStatement& row, int column, const LogShape& shape);
  [[nodiscard]] std::string_view text_in_last(std::size_t place) const;

  std::list<std::string> texts_;  // chunks, which are not moved
  std::size_t bytes_ = 0;
  std::vector<Field> fields_;
  std::vector<Range> ranges_;  // of each record's fields
  std::vector<Record> records_;
};

// The last id that a record is about.
[[nodiscard]] inline std::int64_t last_id(const Record& record) {
  return record.kind == Kind::kGap ? record.id + record.count - 1 : record.id;
}

// Of the columns that no release adds and nothing changes later.
[[nodiscard]] std::string digest_of(const Record& entry, const LogShape& shape);

}  // namespace exporter
