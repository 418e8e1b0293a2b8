// Parses each line in the format that it has, or that the user named.
#include "tools/annalctl/import/line_parser.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/import/line_fields.h"

namespace annalctl {

namespace {

constexpr std::string_view kAuto = "auto";
constexpr std::string_view kJson = "jsonl";
constexpr std::string_view kJournal = "journal";
constexpr std::string_view kCsv = "csv";

// Lines may end with "\r\n".
std::string_view without_return(std::string_view line) {
  return line.ends_with('\r') ? line.substr(0, line.size() - 1) : line;
}

bool begins_as_object(std::string_view line) {
  const std::size_t first = line.find_first_not_of(" \t");
  return first != std::string_view::npos && line[first] == '{';
}

}  // namespace

LineParser::LineParser(const LineOptions& options, std::span<const Column> columns, bool lines, std::int64_t now)
    : options_(options), columns_(columns), lines_(lines), now_(now), format_(find_line_format(options.format)) {
  if (options_.pattern.empty()) {
    return;
  }
  pattern_.emplace(options_.pattern);
  if (pattern_->names().empty()) {
    throw Refusal("--pattern needs named groups, as in '(?P<time>\\S+) (?P<message>.*)'");
  }
  for (const std::string& name : pattern_->names()) {
    if (!LineFields::knows(name)) {
      throw Refusal(fmt::format("the group '{}' of --pattern is none of {}", name, names_of_line_fields()));
    }
  }
}

void LineParser::begin_file() {
  first_ = true;
  csv_.reset();
  header_.clear();
}

bool LineParser::is_column(std::string_view name) const {
  return std::any_of(columns_.begin(), columns_.end(), [name](const Column& column) { return column.name == name; });
}

// A single name could be any text.
bool LineParser::is_header(std::string_view line) const {
  std::size_t names = 0;
  for (bool more = true; more; ++names) {
    const std::size_t comma = line.find(',');
    const std::string_view name = line.substr(0, comma);
    if (!is_column(name) && !(lines_ && LineFields::knows(name))) {
      return false;
    }
    more = comma != std::string_view::npos;
    line.remove_prefix(more ? comma + 1 : line.size());
  }
  return names > 1;
}

void LineParser::set_header(std::vector<CsvCell> cells) {
  own_columns_ = std::all_of(cells.begin(), cells.end(), [this](const CsvCell& cell) { return is_column(cell.text); });
  std::vector<std::string> names;
  for (CsvCell& cell : cells) {
    if (!own_columns_ && !(lines_ && LineFields::knows(cell.text))) {
      throw Refusal(fmt::format("its header names '{}', which is not a column of the log{}", cell.text,
                                lines_ ? fmt::format(", or one of {}", names_of_line_fields()) : ""));
    }
    names.push_back(std::move(cell.text));
  }
  header_ = std::move(names);
}

std::optional<ParsedLine> LineParser::parse_csv(std::string_view line) {
  std::optional<std::vector<CsvCell>> cells = csv_->add(line);
  if (!cells) {
    return {};
  }
  if (header_.empty()) {
    set_header(std::move(*cells));
    return {};
  }
  if (cells->size() != header_.size()) {
    throw Refusal(fmt::format("it has {} cells, and the header {}", cells->size(), header_.size()));
  }
  Members members;
  LineFields fields(now_, options_.time_format);
  for (std::size_t i = 0; i < header_.size(); ++i) {
    CsvCell& cell = (*cells)[i];
    if (own_columns_) {
      members.push_back({header_[i], std::move(cell.text), cell.null});
    } else {
      fields.set(header_[i], cell.text);
    }
  }
  return own_columns_ ? ParsedLine(std::move(members)) : ParsedLine(fields.finish());
}

ParsedLine LineParser::parse_pattern(std::string_view line) const {
  std::vector<std::string_view> groups;
  if (!pattern_->find_groups(line, groups)) {
    throw Refusal("--pattern does not match it");
  }
  LineFields fields(now_, options_.time_format);
  for (std::size_t i = 0; i < groups.size(); ++i) {
    fields.set(pattern_->names()[i], groups[i]);
  }
  return fields.finish();
}

std::optional<ParsedLine> LineParser::parse(std::string_view line) {
  const bool first = std::exchange(first_, false);
  if (pattern_) {
    return parse_pattern(without_return(line));
  }
  const bool any = options_.format == kAuto;
  if (!csv_ && (options_.format == kCsv || (any && first && is_header(without_return(line))))) {
    csv_ = std::make_unique<CsvRows>();
  }
  if (csv_) {
    return parse_csv(line);
  }
  line = without_return(line);
  const bool json = options_.format == kJson || options_.format == kJournal || (any && begins_as_object(line));
  if (json) {
    return lines_ ? parse_json_entry(line) : ParsedLine(parse_json_line(line));
  }
  const LineFormat* const format = format_ != nullptr ? format_ : lines_ ? looks_like(line) : nullptr;
  if (format != nullptr) {
    return parse_line(*format, line, now_);
  }
  throw Refusal(lines_ ? "it is not a line of a syslog or of another known format (--pattern takes any)"
                       : "it is neither a line of JSON Lines nor of a CSV file with a header");
}

}  // namespace annalctl
