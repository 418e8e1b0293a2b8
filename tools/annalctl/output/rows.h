// Standard output, and rows as they are on their way to it.
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

// A stream whose failures cannot go unnoticed: each throws WriteFailure.
class Output {
 public:
  explicit Output(std::FILE* stream) : stream_(stream) {}
  void write(std::string_view text);
  void finish();  // hands over what is buffered

  // What is written from here on goes to a pager when it does not fit on the screen.
  void page(Screen screen) { pager_ = std::make_unique<Pager>(screen); }
  // Waits until the pager is left, if there is one.
  void end_page();
  // Whoever leaves a pager has seen enough.
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

// How rows are to be written.
struct View {
  Format format = Format::kTable;
  TableWidth width = TableWidth::kScreen;
  Zone zone = Zone::kLocal;
  std::vector<std::string> columns{};  // the names of those that are asked for, or none
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
  // Writes what was held back until more rows are known. Rows may follow nevertheless.
  virtual void finish() {}
};

// What the entries of a log say beside their columns.
struct EntryView {
  const char* log;
  std::optional<std::int64_t> (*moment)(Row values);  // when it was made
  std::optional<std::string> (*level)(Row values);    // the name of its level
  // The columns of the date and the time, which are one where the log has seconds since 1970.
  std::size_t date;
  std::size_t time;
};

// The names of these in JSON and in the view of every field.
inline constexpr char kTimestamp[] = "timestamp";
inline constexpr char kLevel[] = "level";
inline constexpr char kLog[] = "log";

// "2026-11-21T10:00:00+01:00"
[[nodiscard]] std::optional<std::string> timestamp_of(const EntryView& entry, Row values, Zone zone);

// How rows are told from one another: all columns for programs, a choice of them for people.
struct RowShape {
  std::vector<Column> columns;
  std::span<const TableColumn> table;
  const EntryView* entry = nullptr;  // when the rows are entries of a log
  bool leaves_out = false;           // the table has no column that says nothing of any row
};

}  // namespace annalctl
