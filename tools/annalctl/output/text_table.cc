#include "tools/annalctl/output/text_table.h"

#include <algorithm>
#include <numeric>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {

constexpr std::string_view kGap = "  ";
constexpr std::size_t kNarrowest = 4;

std::string_view colour_of(Style style) {
  switch (style) {
    case Style::kInformation:
      return "\033[36m";
    case Style::kWarning:
      return "\033[33m";
    case Style::kError:
      return "\033[31m";
    case Style::kPlain:
      break;
  }
  return {};
}

// Takes from the widest column first, so that short ones stay readable for as long as there is something to take from
// a long one.
void fit(std::vector<std::size_t>& widths, std::size_t room) {
  std::size_t used = std::accumulate(widths.begin(), widths.end(), (widths.size() - 1) * kGap.size());
  while (used > room) {
    const auto widest = std::max_element(widths.begin(), widths.end());
    if (*widest <= kNarrowest) {
      return;
    }
    --*widest;
    --used;
  }
}

}  // namespace

TextTable::TextTable(std::span<const TableColumn> columns, const Terminal& terminal)
    : columns_(columns), terminal_(terminal), widths_(columns.size()) {
  Cells titles;
  for (const TableColumn& column : columns_) {
    titles.push_back({column.title});
  }
  rows_.push_back(std::move(titles));
}

void TextTable::add(std::span<const char* const> values) {
  Cells cells;
  for (const TableColumn& column : columns_) {
    const char* value = column.source < values.size() ? values[column.source] : nullptr;
    if (value == nullptr) {
      cells.emplace_back();
    } else if (column.show != nullptr) {
      cells.push_back(column.show(value));
    } else {
      cells.push_back({printable(value)});
    }
  }
  rows_.push_back(std::move(cells));
}

void TextTable::write(const std::function<void(const std::string&)>& line) {
  widen();
  const std::vector<std::size_t> fitted = fitted_widths();
  for (const Cells& cells : rows_) {
    line(line_of(cells, fitted));
  }
  rows_.clear();
}

void TextTable::widen() {
  for (const Cells& cells : rows_) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      widths_[i] = std::max(widths_[i], display_width(cells[i].text));
    }
  }
}

std::vector<std::size_t> TextTable::fitted_widths() const {
  std::vector<std::size_t> widths = widths_;
  if (terminal_.present) {
    fit(widths, terminal_.width);
  }
  return widths;
}

std::string TextTable::line_of(const Cells& cells, const std::vector<std::size_t>& widths) const {
  std::string line;
  std::size_t owed = 0;  // blanks are written when something follows them, so that no line ends with any
  for (std::size_t i = 0; i < cells.size(); ++i) {
    const std::string shown = clipped(cells[i].text, widths[i]);
    const std::size_t padding = widths[i] - display_width(shown);
    if (columns_[i].right) {
      owed += padding;
    }
    if (!shown.empty()) {
      const std::string_view colour = terminal_.colour ? colour_of(cells[i].style) : std::string_view();
      line.append(owed, ' ').append(colour).append(shown).append(colour.empty() ? "" : "\033[0m");
      owed = 0;
    }
    if (!columns_[i].right) {
      owed += padding;
    }
    owed += kGap.size();
  }
  return line;
}

}  // namespace annalctl
