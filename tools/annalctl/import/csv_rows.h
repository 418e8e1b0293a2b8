// CSV as in RFC 4180: a header, and quoted cells that may contain line ends.
#pragma once

#include <csv.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace annalctl {

struct CsvCell {
  std::string text;
  bool null = false;  // empty and without quotes
};

// Reads rows of a file line by line.
class CsvRows {
 public:
  CsvRows();
  ~CsvRows();
  CsvRows(const CsvRows&) = delete;
  CsvRows& operator=(const CsvRows&) = delete;

  // The row that ends with this line, which still has its carriage return; nothing while a quoted cell continues in the
  // next. Throws Refusal for invalid CSV, and starts again with the next line.
  [[nodiscard]] std::optional<std::vector<CsvCell>> add(std::string_view line);

  // Whether a row has started and not ended.
  [[nodiscard]] bool open() const { return open_; }

 private:
  csv_parser parser_{};
  std::vector<CsvCell> cells_;
  bool complete_ = false;
  bool open_ = false;
};

}  // namespace annalctl
