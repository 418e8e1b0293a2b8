// From lines of a file, of whichever format, to entries.
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
  std::string pattern;      // when not empty, it is the format
  std::string time_format;  // of its times
};

class LineParser {
 public:
  // columns: of the log that the entries go to. lines: whether it takes other programs' lines, and not its own columns
  // only. Throws Refusal for a pattern that is none, or has a group that no line has.
  LineParser(const LineOptions& options, std::span<const Column> columns, bool lines, std::int64_t now);

  // Before the first line of each file.
  void begin_file();

  // The line may still have a carriage return at its end. Nothing for a line that is no entry by itself: a CSV file's
  // header, or a part of a longer row. Throws Refusal.
  [[nodiscard]] std::optional<ParsedLine> parse(std::string_view line);

  // Whether the line goes on in the next.
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
