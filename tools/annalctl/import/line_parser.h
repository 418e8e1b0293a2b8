// Turns lines of a file, in any of the formats, into entries.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/base/regex.h"
#include "tools/annalctl/import/csv_rows.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/json_lines.h"

namespace annalctl {

// A line of another program's log, or the values of an entry's columns.
using ParsedLine = std::variant<LogLine, Members>;

struct LineOptions {
  std::string format = "auto";
  std::string pattern;      // if not empty, this is the format
  std::string time_format;  // of its times
};

class LineParser {
 public:
  // columns: of the log that the entries go to. lines: whether it takes other programs' lines besides its own columns.
  // Throws Refusal for an invalid pattern, or one with an unknown group.
  LineParser(const LineOptions& options, std::span<const Column> columns, bool lines, std::int64_t now);

  // Before the first line of each file.
  void begin_file();

  // The line may still end with a carriage return. Nothing for a line that is not an entry by itself: a CSV file's
  // header, or part of a longer row. Throws Refusal.
  [[nodiscard]] std::optional<ParsedLine> parse(std::string_view line);

  // Whether the row continues in the next line.
  [[nodiscard]] bool unfinished() const { return csv_ && csv_->open(); }

 private:
  [[nodiscard]] bool is_header(std::string_view line) const;
  [[nodiscard]] bool is_column(std::string_view name) const;
  [[nodiscard]] std::optional<ParsedLine> parse_csv(std::string_view line);
  void set_header(std::vector<CsvCell> cells);
  [[nodiscard]] ParsedLine parse_pattern(std::string_view line) const;

  LineOptions options_;
  std::span<const Column> columns_;
  bool lines_;
  std::int64_t now_;
  const LineFormat* format_ = nullptr;  // a named one
  std::optional<Regex> pattern_;
  std::unique_ptr<CsvRows> csv_;  // within a CSV file
  std::vector<std::string> header_;
  bool own_columns_ = false;  // the header's
  bool first_ = true;
};

}  // namespace annalctl
