// Finds columns by their titles or names.
#include "tools/annalctl/output/chosen_columns.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {

// "Old path" may be written as "old-path".
std::string as_word(std::string_view title) {
  std::string word(title);
  std::replace(word.begin(), word.end(), ' ', '-');
  return word;
}

// "event_user" without "event_".
std::string_view short_name(std::string_view name) {
  for (const std::string_view prefix : {"event_", "conn_"}) {
    if (name.starts_with(prefix)) {
      return name.substr(prefix.size());
    }
  }
  return name;
}

std::optional<TableColumn> find(const RowShape& shape, const std::string& name) {
  const auto titled = std::find_if(shape.table.begin(), shape.table.end(), [&name](const TableColumn& column) {
    return same_letters(as_word(column.title), name) || same_letters(column.title, name);
  });
  if (titled != shape.table.end()) {
    return *titled;
  }
  for (std::size_t i = 0; i < shape.columns.size(); ++i) {
    const char* const stored = shape.columns[i].name;
    if (same_letters(stored, name) || same_letters(short_name(stored), name)) {
      return TableColumn{stored, i, shape.columns[i].integer};
    }
  }
  return {};
}

std::string known_names(const RowShape& shape) {
  std::string names;
  for (const Column& column : shape.columns) {
    names += (names.empty() ? "" : ", ") + std::string(short_name(column.name));
  }
  return names;
}

}  // namespace

std::vector<TableColumn> chosen_columns(const RowShape& shape, std::span<const std::string> names) {
  std::vector<TableColumn> columns;
  for (const std::string& name : names) {
    const std::optional<TableColumn> column = find(shape, name);
    if (!column) {
      throw Refusal(fmt::format("--columns: there is no column '{}': the columns are {}", name, known_names(shape)));
    }
    columns.push_back(*column);
  }
  return columns;
}

}  // namespace annalctl
