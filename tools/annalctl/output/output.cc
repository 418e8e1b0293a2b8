#include "tools/annalctl/output/output.h"

#include <fmt/format.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/whole_number.h"

namespace annalctl {

namespace {

using Json = nlohmann::ordered_json;

Json json_value(const char* value, const Column& column) {
  if (value == nullptr) {
    return nullptr;
  }
  // SQLite keeps a text in an INTEGER column when it is no number.
  if (const auto number = whole_number<std::int64_t>(value); column.integer && number) {
    return *number;
  }
  return value;
}

class JsonLines : public RowSink {
 public:
  JsonLines(std::vector<Column> columns, const Terminal& terminal, Output& output)
      : columns_(std::move(columns)), ascii_(terminal.present), output_(output) {}

  void row(Row values) override {
    Json object = Json::object();
    for (std::size_t i = 0; i < columns_.size() && i < values.size(); ++i) {
      object[columns_[i].name] = json_value(values[i], columns_[i]);
    }
    // A terminal would act on the control characters beyond ASCII; a program gets its text as it is.
    output_.write(object.dump(-1, ' ', ascii_, Json::error_handler_t::replace) + "\n");
  }

 private:
  std::vector<Column> columns_;
  bool ascii_;
  Output& output_;
};

class Csv : public RowSink {
 public:
  Csv(const std::vector<Column>& columns, const Terminal& terminal, Output& output)
      : escape_(terminal.present), output_(output) {
    std::vector<const char*> names;
    names.reserve(columns.size());
    for (const Column& column : columns) {
      names.push_back(column.name);
    }
    row(names);
  }

  void row(Row values) final {
    std::string line;
    const char* separator = "";
    for (const char* value : values) {
      line += separator + cell(value);
      separator = ",";
    }
    output_.write(line + "\r\n");
  }

 private:
  // NULL is an empty cell, an empty text an empty pair of quotes.
  [[nodiscard]] std::string cell(const char* value) const {
    if (value == nullptr) {
      return {};
    }
    std::string text = escape_ ? printable(value) : value;
    if (!text.empty() && text.find_first_of(",\"\r\n") == std::string::npos) {
      return text;
    }
    std::string quoted = "\"";
    for (const char c : text) {
      quoted.append(c == '"' ? 2 : 1, c);
    }
    return quoted + "\"";
  }

  bool escape_;
  Output& output_;
};

class TableSink : public RowSink {
 public:
  TableSink(std::span<const TableColumn> columns, const Terminal& terminal, Output& output)
      : table_(columns, terminal), output_(output) {}

  void row(Row values) override {
    table_.add(values);
    // All of a log's rows need not fit into memory.
    constexpr std::size_t kMostRows = 1000;
    constexpr std::size_t kMostBytes = std::size_t{1} << 20U;
    ++rows_;
    for (const char* value : values) {
      bytes_ += value == nullptr ? 0 : std::strlen(value);
    }
    if (rows_ == kMostRows || bytes_ >= kMostBytes) {
      finish();
    }
  }

  void finish() override {
    table_.write([this](const std::string& line) { output_.write(line + "\n"); });
    rows_ = 0;
    bytes_ = 0;
  }

 private:
  TextTable table_;
  std::size_t rows_ = 0;
  std::size_t bytes_ = 0;
  Output& output_;
};

}  // namespace

void Output::write(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stream_) != text.size()) {
    throw WriteFailure(errno);
  }
}

void Output::finish() {
  if (std::fflush(stream_) != 0) {
    throw WriteFailure(errno);
  }
}

std::unique_ptr<RowSink> make_sink(Format format, const RowShape& shape, const Terminal& terminal, Output& output) {
  switch (format) {
    case Format::kJson:
      return std::make_unique<JsonLines>(shape.columns, terminal, output);
    case Format::kCsv:
      return std::make_unique<Csv>(shape.columns, terminal, output);
    case Format::kTable:
      break;
  }
  return std::make_unique<TableSink>(shape.table, terminal, output);
}

void write_number(Format format, const char* name, int number, Output& output) {
  switch (format) {
    case Format::kJson:
      output.write(fmt::format("{{\"{}\":{}}}\n", name, number));
      break;
    case Format::kCsv:
      output.write(fmt::format("{}\r\n{}\r\n", name, number));
      break;
    case Format::kTable:
      output.write(fmt::format("{}\n", number));
      break;
  }
}

}  // namespace annalctl
