// Standard output and the forms in which rows are written to it.
#pragma once

#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/base/terminal.h"
#include "tools/annalctl/output/text_table.h"

namespace annalctl {

// A stream whose failures cannot go unnoticed: each throws WriteFailure.
class Output {
 public:
  explicit Output(std::FILE* stream) : stream_(stream) {}
  void write(std::string_view text);
  void finish();  // hands over what is buffered

 private:
  std::FILE* stream_;
};

enum class Format {
  kTable,
  kJson,
  kCsv,
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

// How rows are told from one another: all columns for programs, a choice of them for people.
struct RowShape {
  std::vector<Column> columns;
  std::span<const TableColumn> table;
};

[[nodiscard]] std::unique_ptr<RowSink> make_sink(Format format, const RowShape& shape, const Terminal& terminal,
                                                 Output& output);

// One number with a name, in the same three forms.
void write_number(Format format, const char* name, int number, Output& output);

}  // namespace annalctl
