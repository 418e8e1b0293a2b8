// Splits CSV into rows, which may span lines.
#include "tools/annalctl/import/csv_rows.h"

#include <cstddef>
#include <new>
#include <utility>

#include "tools/annalctl/base/failure.h"

namespace annalctl {

namespace {

constexpr unsigned char kOptions = CSV_STRICT | CSV_EMPTY_IS_NULL;

struct Row {
  std::vector<CsvCell>& cells;
  bool& complete;
};

void take_cell(void* text, std::size_t length, void* context) {
  const bool null = text == nullptr;
  static_cast<Row*>(context)->cells.push_back(
      {null ? std::string() : std::string(static_cast<char*>(text), length), null});
}

void take_end(int /*character*/, void* context) {
  static_cast<Row*>(context)->complete = true;
}

int is_space(unsigned char /*character*/) {
  return 0;
}

}  // namespace

CsvRows::CsvRows() {
  if (csv_init(&parser_, kOptions) != 0) {
    throw std::bad_alloc();
  }
  // Blanks around a cell belong to it.
  csv_set_space_func(&parser_, is_space);
}

CsvRows::~CsvRows() {
  csv_free(&parser_);
}

std::optional<std::vector<CsvCell>> CsvRows::add(std::string_view line) {
  Row row{cells_, complete_};
  const std::string text = std::string(line) + "\n";
  const bool read = csv_parse(&parser_, text.data(), text.size(), take_cell, take_end, &row) == text.size();
  if (!read) {
    csv_fini(&parser_, nullptr, nullptr, nullptr);
    cells_.clear();
    complete_ = open_ = false;
    throw Refusal("it is not a row of CSV: it has a quote where none may be");
  }
  open_ = !complete_;
  if (!complete_) {
    return {};
  }
  complete_ = false;
  return std::exchange(cells_, {});
}

}  // namespace annalctl
