// Writes rows as a table, as JSON Lines or as CSV.
#include "tools/annalctl/output/output.h"

#include <fmt/format.h>

#include <cstdint>
#include <cstring>
#include <nlohmann/json.hpp>
#include <utility>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/output/chosen_columns.h"
#include "tools/annalctl/output/full_view.h"

namespace annalctl {

namespace {

using Json = nlohmann::ordered_json;

Json json_value(const char* value, const Column& column) {
  if (value == nullptr) {
    return nullptr;
  }
  // SQLite keeps a text that is not a number even in an INTEGER column.
  if (const auto number = whole_number<std::int64_t>(value); column.integer && number) {
    return *number;
  }
  return value;
}

Json text_or_null(const std::optional<std::string>& text) {
  return text ? Json(*text) : Json(nullptr);
}

class JsonLines : public RowSink {
 public:
  // entry: null for rows that show only their columns.
  JsonLines(std::vector<Column> columns, const EntryView* entry, Zone zone, const Terminal& terminal, Output& output)
      : columns_(std::move(columns)), entry_(entry), zone_(zone), ascii_(terminal.present), output_(output) {}

  void row(Row values) override {
    Json object = Json::object();
    for (std::size_t i = 0; i < columns_.size() && i < values.size(); ++i) {
      object[columns_[i].name] = json_value(values[i], columns_[i]);
    }
    if (entry_ != nullptr) {
      object[kTimestamp] = text_or_null(timestamp_of(*entry_, values, zone_));
      // Rows of several logs have columns of these names.
      object.emplace(kLevel, text_or_null(entry_->level(values)));
      object.emplace(kLog, entry_->log);
    }
    // A terminal would act on control characters beyond ASCII; a program gets the text unchanged.
    output_.write(object.dump(-1, ' ', ascii_, Json::error_handler_t::replace) + "\n");
  }

 private:
  std::vector<Column> columns_;
  const EntryView* entry_;
  Zone zone_;
  bool ascii_;
  Output& output_;
};

class Csv : public RowSink {
 public:
  Csv(const std::vector<Column>& columns, bool titled, const Terminal& terminal, Output& output)
      : escape_(terminal.present), output_(output) {
    if (titled) {
      return;
    }
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
  TableSink(std::span<const TableColumn> columns, TableWidth width, const Terminal& terminal, Output& output)
      : table_(columns, terminal, width), output_(output) {}

  void row(Row values) override {
    table_.add(values);
    // A log's rows need not fit into memory.
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

// Passes rows on with their times in UTC.
class InUtc : public RowSink {
 public:
  InUtc(const EntryView& entry, std::unique_ptr<RowSink> sink) : entry_(entry), sink_(std::move(sink)) {}

  void row(Row values) override {
    const std::optional<std::int64_t> moment = entry_.moment(values);
    const std::optional<std::string> text = moment ? plain_text(*moment, Zone::kUtc) : std::nullopt;
    if (!text) {
      sink_->row(values);
      return;
    }
    constexpr std::size_t kDate = 10;  // letters of it
    const std::string date = entry_.date == entry_.time ? *text : text->substr(0, kDate);
    const std::string time = text->substr(kDate + 1);
    std::vector<const char*> changed(values.begin(), values.end());
    changed[entry_.time] = time.c_str();
    changed[entry_.date] = date.c_str();
    sink_->row(changed);
  }

  void finish() override { sink_->finish(); }

 private:
  const EntryView& entry_;
  std::unique_ptr<RowSink> sink_;
};

// Passes rows on with these columns only.
class Chosen : public RowSink {
 public:
  Chosen(std::vector<TableColumn> columns, std::unique_ptr<RowSink> sink)
      : columns_(std::move(columns)), sink_(std::move(sink)) {}

  void row(Row values) override {
    std::vector<const char*> chosen;
    chosen.reserve(columns_.size());
    for (const TableColumn& column : columns_) {
      chosen.push_back(column.source < values.size() ? values[column.source] : nullptr);
    }
    sink_->row(chosen);
  }

  void finish() override { sink_->finish(); }

 private:
  std::vector<TableColumn> columns_;
  std::unique_ptr<RowSink> sink_;
};

std::unique_ptr<RowSink> make_table(const View& view, const RowShape& shape, const Terminal& terminal, Output& output) {
  const std::vector<TableColumn> chosen = chosen_columns(shape, view.columns);
  const bool all = !chosen.empty() || !shape.leaves_out;
  const TableWidth width = view.width == TableWidth::kScreen && all ? TableWidth::kAllColumns : view.width;
  auto table = std::make_unique<TableSink>(chosen.empty() ? shape.table : std::span(chosen), width, terminal, output);
  if (view.zone == Zone::kUtc && shape.entry != nullptr) {
    return std::make_unique<InUtc>(*shape.entry, std::move(table));
  }
  return table;
}

// Every column of the file and what the entries add to them; or only the columns that the user named.
std::unique_ptr<RowSink> make_for_programs(const View& view, const RowShape& shape, const Terminal& terminal,
                                           Output& output) {
  std::vector<TableColumn> chosen = chosen_columns(shape, view.columns);
  std::vector<Column> columns;
  columns.reserve(chosen.size());
  for (const TableColumn& column : chosen) {
    columns.push_back(shape.columns[column.source]);
  }
  const bool all = chosen.empty();
  const std::vector<Column>& written = all ? shape.columns : columns;
  std::unique_ptr<RowSink> sink;
  if (view.format == Format::kJson) {
    sink = std::make_unique<JsonLines>(written, all ? shape.entry : nullptr, view.zone, terminal, output);
  } else {
    sink = std::make_unique<Csv>(written, view.titled, terminal, output);
  }
  return all ? std::move(sink) : std::make_unique<Chosen>(std::move(chosen), std::move(sink));
}

}  // namespace

std::unique_ptr<RowSink> make_sink(const View& view, const RowShape& shape, const Terminal& terminal, Output& output) {
  switch (view.format) {
    case Format::kJson:
    case Format::kCsv:
      return make_for_programs(view, shape, terminal, output);
    case Format::kFull:
      return make_full_view(shape, view, terminal, output);
    case Format::kTable:
      break;
  }
  return make_table(view, shape, terminal, output);
}

void write_number(Format format, const char* name, std::int64_t number, Output& output) {
  switch (format) {
    case Format::kJson:
      output.write(fmt::format("{{\"{}\":{}}}\n", name, number));
      break;
    case Format::kCsv:
      output.write(fmt::format("{}\r\n{}\r\n", name, number));
      break;
    case Format::kTable:
    case Format::kFull:
      output.write(fmt::format("{}\n", number));
      break;
  }
}

}  // namespace annalctl
