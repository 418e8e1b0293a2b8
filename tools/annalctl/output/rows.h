// Standard output, and the rows that go to it.
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/base/moment.h"
#include "tools/annalctl/base/terminal.h"
#include "tools/annalctl/output/pager.h"
#include "tools/annalctl/output/text_table.h"

namespace annalctl {

// A stream that throws WriteFailure for every failure.
class Output {
 public:
  explicit Output(std::FILE* stream) : stream_(stream) {}
  void write(std::string_view text);
  void finish();  // hands over what is buffered

  // From here on, output that does not fit on the screen goes to a pager.
  void page(Screen screen) { pager_ = std::make_unique<Pager>(screen); }
  // Waits until the user leaves the pager, if there is one.
  void end_page();
  // A user who leaves the pager has seen enough.
  [[nodiscard]] bool pager_was_left() const { return pager_ && pager_->was_left(); }

 private:
  std::FILE* stream_;
  std::unique_ptr<Pager> pager_;
};

enum class Format {
  kTable,
  kJson,
  kCsv,
  kFull,  // every field of an entry on a line of its own
};

// How to write rows.
struct View {
  Format format = Format::kTable;
  TableWidth width = TableWidth::kScreen;
  Zone zone = Zone::kLocal;
  std::vector<std::string> columns{};  // the names that the user gave, or none
  bool titled = false;                 // rows of the same columns, and so their titles, have been written before
};

// The values of one row; a null pointer for NULL.
using Row = std::span<const char* const>;

class RowSink {
 public:
  RowSink() = default;
  virtual ~RowSink() = default;
  RowSink(const RowSink&) = delete;
  RowSink& operator=(const RowSink&) = delete;

  virtual void row(Row values) = 0;
  // Writes rows that were held back to see more of them. Further rows may follow.
  virtual void finish() {}
};

// What the entries of a log show besides their columns.
struct EntryView {
  const char* log;
  std::optional<std::int64_t> (*moment)(Row values);  // when it happened
  std::optional<std::string> (*level)(Row values);    // the name of its level
  // The columns of date and time, which are the same one in a log with seconds since 1970.
  std::size_t date;
  std::size_t time;
};

// Their names in JSON and in the view of every field.
inline constexpr char kTimestamp[] = "timestamp";
inline constexpr char kLevel[] = "level";
inline constexpr char kLog[] = "log";

// "2026-11-21T10:00:00+01:00"
[[nodiscard]] std::optional<std::string> timestamp_of(const EntryView& entry, Row values, Zone zone);

// What rows consist of: all columns for programs, some of them for people.
struct RowShape {
  std::vector<Column> columns;
  std::span<const TableColumn> table;
  const EntryView* entry = nullptr;  // if the rows are entries of a log
  bool leaves_out = false;           // the table omits columns that are empty in every row
};

}  // namespace annalctl
