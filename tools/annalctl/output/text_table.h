// The table for people: aligned columns, fitted to a terminal's width.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/terminal.h"

namespace annalctl {

enum class Style {
  kPlain,
  kInformation,
  kWarning,
  kError,
};

struct TableCell {
  std::string text;
  Style style = Style::kPlain;
};

// What happens to a column if a line has no room for all.
enum class Room {
  kShared,  // is cut
  kWhole,   // is never cut
  kRest,    // gets what the others leave
};

struct TableColumn {
  const char* title;
  std::size_t source;                        // index into the row's values
  bool right = false;                        // aligned to the right, for numbers
  TableCell (*show)(const char*) = nullptr;  // for codes that have names
  Room room = Room::kShared;
};

// What a table shows for a code that is stored there, "warning" for 1; empty if that is the code itself.
[[nodiscard]] std::string meaning_of(std::span<const TableColumn> columns, std::size_t source, const char* code);

// Which columns are shown, and how much of them.
enum class TableWidth {
  kScreen,      // as much as fits, without columns that are empty in every entry
  kAllColumns,  // as much as fits of each
  kWide,        // everything, even if lines get long
};

// Keeps its rows until it is written, because the widths depend on all of them. Later rows are lined up with the
// earlier ones as far as they fit.
class TextTable {
 public:
  TextTable(std::span<const TableColumn> columns, const Terminal& terminal, TableWidth width);

  void add(std::span<const char* const> values);
  // Writes the rows added since the last call, below titles the first time and whenever there are more columns.
  void write(const std::function<void(const std::string&)>& line);

 private:
  using Cells = std::vector<TableCell>;
  using Widths = std::vector<std::size_t>;

  // The lines of an entry: the first has the columns with a width; the second, if there is one,
  // the others.
  struct Form {
    Widths widths;
    bool second_line = false;
  };

  [[nodiscard]] bool show_more_columns();
  void widen();
  [[nodiscard]] std::size_t used(const Widths& widths) const;
  [[nodiscard]] Form form() const;
  [[nodiscard]] Form one_line(Widths widths) const;
  [[nodiscard]] Form two_lines(const Widths& widths) const;
  [[nodiscard]] std::string_view gap() const;
  [[nodiscard]] std::string first_line(const Cells& cells, const Form& form) const;
  [[nodiscard]] std::string second_line(const Cells& cells, const Form& form, bool titles) const;
  void append_cell(std::string& line, const TableCell& cell, std::size_t width) const;

  std::vector<TableColumn> columns_;
  Terminal terminal_;
  TableWidth width_;
  Cells titles_;
  std::vector<Cells> rows_;
  std::vector<bool> shown_;
  Widths widths_;
  bool has_rest_;
  bool begun_ = false;
};

}  // namespace annalctl
