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

struct TableColumn {
  const char* title;
  std::size_t source;                        // index into the row's values
  bool right = false;                        // numbers stand at the right edge
  TableCell (*show)(const char*) = nullptr;  // for codes that have names
};

// Keeps its rows until it is written, because the widths depend on all of them. Rows that come later are lined up with
// those before as far as they fit.
class TextTable {
 public:
  TextTable(std::span<const TableColumn> columns, const Terminal& terminal);

  void add(std::span<const char* const> values);
  // Writes the rows that were added since it did so last, below the titles the first time.
  void write(const std::function<void(const std::string&)>& line);

 private:
  using Cells = std::vector<TableCell>;

  void widen();
  [[nodiscard]] std::vector<std::size_t> fitted_widths() const;
  [[nodiscard]] std::string line_of(const Cells& cells, const std::vector<std::size_t>& widths) const;

  std::span<const TableColumn> columns_;
  Terminal terminal_;
  std::vector<Cells> rows_;
  std::vector<std::size_t> widths_;
};

}  // namespace annalctl
