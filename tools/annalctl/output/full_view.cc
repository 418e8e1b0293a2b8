// Prints one field a line.
#include "tools/annalctl/output/full_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {

class FullView : public RowSink {
 public:
  FullView(RowShape shape, Zone zone, const Terminal& terminal, Output& output)
      : shape_(std::move(shape)), zone_(zone), colour_(terminal.colour), output_(output) {
    for (const Column& column : shape_.columns) {
      width_ = std::max(width_, std::string_view(column.name).size());
    }
    if (shape_.entry != nullptr) {
      width_ = std::max(width_, std::string_view(kTimestamp).size());
    }
  }

  void row(Row values) override {
    if (std::exchange(begun_, true)) {
      output_.write("\n");
    }
    for (std::size_t i = 0; i < shape_.columns.size() && i < values.size(); ++i) {
      field(shape_.columns[i].name, values[i] == nullptr ? "" : printable(values[i]) + meaning(i, values[i]));
    }
    if (shape_.entry != nullptr) {
      field(kTimestamp, timestamp_of(*shape_.entry, values, zone_).value_or(""));
      if (!has_column(kLog)) {  // rows of several logs have both themselves
        field(kLevel, printable(shape_.entry->level(values).value_or("")));
        field(kLog, shape_.entry->log);
      }
    }
  }

 private:
  [[nodiscard]] bool has_column(std::string_view name) const {
    return std::any_of(shape_.columns.begin(), shape_.columns.end(),
                       [name](const Column& column) { return column.name == name; });
  }

  // What the table shows for a code: " (warning)". The time has a line of its own, in the zone that was asked for.
  [[nodiscard]] std::string meaning(std::size_t source, const char* value) const {
    if (shape_.entry != nullptr && (source == shape_.entry->date || source == shape_.entry->time)) {
      return {};
    }
    const std::string meaning = meaning_of(shape_.table, source, value);
    return meaning.empty() ? meaning : fmt::format(" ({})", meaning);
  }

  void field(const char* name, const std::string& value) {
    const char* const bold = colour_ ? "\033[1m" : "";
    const char* const plain = colour_ ? "\033[0m" : "";
    output_.write(value.empty() ? fmt::format("{}{}:{}\n", bold, name, plain)
                                : fmt::format("{}{}:{}{:{}}{}\n", bold, name, plain, "",
                                              width_ + 1 - std::string_view(name).size(), value));
  }

  RowShape shape_;
  Zone zone_;
  bool colour_;
  std::size_t width_ = 0;
  bool begun_ = false;
  Output& output_;
};

}  // namespace

std::unique_ptr<RowSink> make_full_view(const RowShape& shape, const View& view, const Terminal& terminal,
                                        Output& output) {
  return std::make_unique<FullView>(shape, view.zone, terminal, output);
}

}  // namespace annalctl
