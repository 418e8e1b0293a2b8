// Lays out a table for a terminal's width.
#include "tools/annalctl/output/text_table.h"

#include <algorithm>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {

constexpr std::string_view kGap = "  ";
constexpr std::string_view kNarrowGap = " ";
constexpr std::string_view kIndent = "  ";

// On narrower terminals, an entry that does not fit gets two lines.
constexpr std::size_t kFewestForOneLine = 70;
// The least width to which a column is cut before an entry takes two lines.
constexpr std::size_t kLeastShared = 8;
constexpr std::size_t kLeastRest = 20;
// Without a second line.
constexpr std::size_t kNarrowest = 4;

constexpr std::size_t kNotHere = 0;  // a width: the column is not in this line

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

// What the library stores for a missing text.
bool says_something(const TableCell& cell) {
  return !cell.text.empty() && cell.text != "---";
}

}  // namespace

std::string meaning_of(std::span<const TableColumn> columns, std::size_t source, const char* code) {
  for (const TableColumn& column : columns) {
    if (column.source == source && column.show != nullptr) {
      const std::string shown = printable(column.show(code).text);
      return shown == printable(code) ? std::string() : shown;
    }
  }
  return {};
}

TextTable::TextTable(std::span<const TableColumn> columns, const Terminal& terminal, TableWidth width)
    : columns_(columns.begin(), columns.end()),
      terminal_(terminal),
      width_(width),
      shown_(columns.size(), width != TableWidth::kScreen),
      widths_(columns.size()),
      has_rest_(std::any_of(columns.begin(), columns.end(),
                            [](const TableColumn& column) { return column.room == Room::kRest; })) {
  for (const TableColumn& column : columns_) {
    titles_.push_back({column.title});
  }
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
  const bool more = show_more_columns();
  widen();
  const Form now = form();
  if (more) {
    if (begun_) {
      line("");
    }
    line(first_line(titles_, now));
    if (now.second_line) {
      line(second_line(titles_, now, true));
    }
  }
  for (const Cells& cells : rows_) {
    line(first_line(cells, now));
    if (now.second_line) {
      line(second_line(cells, now, false));
    }
  }
  rows_.clear();
  begun_ = true;
}

// Returns whether titles are due.
bool TextTable::show_more_columns() {
  bool more = !begun_;
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    const bool needed =
        rows_.empty() || columns_[i].room != Room::kShared ||
        std::any_of(rows_.begin(), rows_.end(), [i](const Cells& row) { return says_something(row[i]); });
    if (needed && !shown_[i]) {
      shown_[i] = true;
      more = true;
    }
  }
  return more;
}

void TextTable::widen() {
  const auto widen_for = [this](const Cells& cells) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      widths_[i] = shown_[i] ? std::max(widths_[i], display_width(cells[i].text)) : kNotHere;
    }
  };
  widen_for(titles_);
  std::for_each(rows_.begin(), rows_.end(), widen_for);
}

std::string_view TextTable::gap() const {
  const bool narrow = terminal_.present && terminal_.width < kFewestForOneLine && width_ != TableWidth::kWide;
  return narrow && has_rest_ ? kNarrowGap : kGap;
}

std::size_t TextTable::used(const Widths& widths) const {
  std::size_t columns = 0;
  std::size_t total = 0;
  for (const std::size_t width : widths) {
    total += width;
    columns += width == kNotHere ? 0 : 1;
  }
  return columns == 0 ? 0 : total + (columns - 1) * gap().size();
}

TextTable::Form TextTable::form() const {
  if (!terminal_.present || width_ == TableWidth::kWide || used(widths_) <= terminal_.width) {
    return {widths_};
  }
  if (!has_rest_) {
    return one_line(widths_);
  }
  if (terminal_.width >= kFewestForOneLine) {
    Form one = one_line(widths_);
    if (used(one.widths) <= terminal_.width) {
      return one;
    }
  }
  return two_lines(widths_);
}

// Narrows the widest column first, so that short ones stay readable while a long one can give; the last one keeps at
// least its minimum.
TextTable::Form TextTable::one_line(Widths widths) const {
  std::size_t total = used(widths);
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].room == Room::kRest) {
      const std::size_t beyond = widths[i] - std::min(widths[i], kLeastRest);
      const std::size_t taken = std::min(beyond, total - std::min(total, terminal_.width));
      widths[i] -= taken;
      total -= taken;
    }
  }
  const std::size_t least = has_rest_ ? kLeastShared : kNarrowest;
  while (total > terminal_.width) {
    std::size_t widest = columns_.size();
    for (std::size_t i = 0; i < columns_.size(); ++i) {
      const bool may_be_cut = columns_[i].room == Room::kShared && widths[i] > least;
      if (may_be_cut && (widest == columns_.size() || widths[i] > widths[widest])) {
        widest = i;
      }
    }
    if (widest == columns_.size()) {
      break;
    }
    --widths[widest];
    --total;
  }
  return {widths};
}

// The first line has the columns that are never cut, as far as there is room, and as many others as fit.
TextTable::Form TextTable::two_lines(const Widths& widths) const {
  Form two{Widths(columns_.size(), kNotHere), true};
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].room == Room::kWhole) {
      two.widths[i] = widths[i];
      if (i > 0 && used(two.widths) > terminal_.width) {
        two.widths[i] = kNotHere;
      }
    }
  }
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    if (columns_[i].room == Room::kShared && widths[i] != kNotHere) {
      two.widths[i] = widths[i];
      if (used(two.widths) > terminal_.width) {
        two.widths[i] = kNotHere;
      }
    }
  }
  return two;
}

void TextTable::append_cell(std::string& line, const TableCell& cell, std::size_t width) const {
  const std::string_view colour = terminal_.colour ? colour_of(cell.style) : std::string_view();
  line.append(colour).append(clipped(cell.text, width)).append(colour.empty() ? "" : "\033[0m");
}

std::string TextTable::first_line(const Cells& cells, const Form& form) const {
  std::string line;
  std::size_t owed = 0;  // blanks are written only if something follows, so that no line ends with any
  for (std::size_t i = 0; i < cells.size(); ++i) {
    if (form.widths[i] == kNotHere) {
      continue;
    }
    const std::size_t padding =
        form.widths[i] - std::min(form.widths[i], display_width(clipped(cells[i].text, form.widths[i])));
    owed += columns_[i].right ? padding : 0;
    if (!cells[i].text.empty()) {
      line.append(owed, ' ');
      append_cell(line, cells[i], form.widths[i]);
      owed = 0;
    }
    owed += (columns_[i].right ? 0 : padding) + gap().size();
  }
  return line;
}

// The message, then what the first line has no room for.
std::string TextTable::second_line(const Cells& cells, const Form& form, bool titles) const {
  std::string line(kIndent);
  std::size_t left = terminal_.width - std::min(terminal_.width, kIndent.size());
  const auto append = [&](std::size_t i) {
    const bool here = shown_[i] && form.widths[i] == kNotHere && (titles || says_something(cells[i]));
    const std::size_t between = line.size() > kIndent.size() ? kGap.size() : 0;
    if (!here || left <= between) {
      return;
    }
    line.append(between, ' ');
    left -= between;
    append_cell(line, cells[i], left);
    left -= std::min(left, display_width(cells[i].text));
  };
  for (const Room room : {Room::kWhole, Room::kRest, Room::kShared}) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
      if (columns_[i].room == room) {
        append(i);
      }
    }
  }
  return line;
}

}  // namespace annalctl
