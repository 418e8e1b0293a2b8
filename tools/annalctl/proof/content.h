// What a commitment commits to: an entry's columns, whatever release has written it and whether its log was migrated
// since.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/proof/chain_file.h"
#include "tools/annalctl/query/reader.h"

namespace annalctl::proof {

// Appends values to an entry's bytes. The id is no part of them, so that an entry can be recognized under another one.
class Content {
 public:
  explicit Content(std::string& bytes) : bytes_(bytes) {}

  // Which column comes next: its place in the log's current layout.
  void column(std::size_t place) { bytes_ += static_cast<char>(place); }
  // One that the log's current layout does not have.
  void foreign_column(std::string_view name);

  void null() { bytes_ += 'n'; }
  void integer(std::int64_t value);
  void real(double value);
  void text(std::string_view value) { sized('t', value); }
  void blob(std::string_view value) { sized('b', value); }

 private:
  void number(std::uint64_t value);
  void sized(char kind, std::string_view value);

  std::string& bytes_;
};

// The order key of an entry, in seconds: the log's triggers delete by date and time, as texts or as a number.
[[nodiscard]] std::uint32_t time_key(std::string_view date, std::string_view time);
[[nodiscard]] std::uint32_t time_key(std::int64_t seconds);

// The table has a column that hides its ids, so that another entry could be shown under an id than the one compared.
class AlteredTable : public ChainFailure {
 public:
  using ChainFailure::ChainFailure;
};

// Reads entries for their contents: the columns that the table has, a statement's place each.
class ContentReader {
 public:
  // Looks at the table's columns, within a turn or a change. Throws AlteredTable.
  ContentReader(Reader& reader, const Log& log);

  // To be selected behind the id: "t.a, t.b".
  [[nodiscard]] const std::string& columns() const { return selected_; }

  // Where a statement stands, its first listed column being the second. Replaced columns have a text instead of their
  // own value.
  void append(const SqliteStatement& row, std::string& bytes) const;
  [[nodiscard]] std::uint32_t time_of(const SqliteStatement& row) const;

  struct Source {
    std::string name;
    std::optional<std::size_t> place;  // in the log's current layout
    // What an entry has that is older than the column, which is the same as not having the column.
    std::optional<std::string> text;
    std::optional<std::int64_t> number;
    bool null_is_absent = false;
    bool is_id = false;  // counts only where it is not the row's own, which it is in a table of the library's
  };
  [[nodiscard]] const std::vector<Source>& sources() const { return sources_; }
  // One column, as append does it for each.
  static void append_column(const Source& source, sqlite3_stmt* row, int column, std::string& bytes);
  static void append_text(const Source& source, std::string_view text, std::string& bytes);

 private:
  std::vector<Source> sources_;
  std::string selected_;
  int date_ = 0;
  int time_ = 0;  // 0: the date has both
};

}  // namespace annalctl::proof
