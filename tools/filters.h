// The conditions that listed, counted and grouped entries have to meet.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace annalctl {

// Looks for entries that contain a text in a column.
struct TextFilter {
  const char* option;
  const char* what;  // completes "Only those with this text in the …"
};

// Looks for entries that have a number in a column. 0 is "any", and cannot be looked for.
struct NumberFilter {
  const char* option;
  const char* help;
  int most;
  int flag;  // not 0: the option takes no number, and means this one
};

// What a log's queries can look for. The first text is the user's.
struct FilterTable {
  std::span<const TextFilter> texts;
  std::span<const NumberFilter> numbers;

  // What the grouping queries, which never got the later filters, can look for.
  [[nodiscard]] FilterTable first(std::size_t text_count) const { return {texts.first(text_count), numbers}; }
};

// The values in the forms of the library: a null pointer or 0 for what is not asked for.
class Filters {
 public:
  [[nodiscard]] unsigned type() const { return type_.value_or(0); }
  [[nodiscard]] const char* text(std::size_t filter) const;
  [[nodiscard]] int number(std::size_t filter) const;
  [[nodiscard]] bool has_period() const { return since_.has_value() || until_.has_value(); }
  [[nodiscard]] const char* date_from() const { return period_text(date_from_); }
  [[nodiscard]] const char* time_from() const { return time_text(time_from_); }
  [[nodiscard]] const char* date_to() const { return period_text(date_to_); }
  [[nodiscard]] const char* time_to() const { return time_text(time_to_); }
  [[nodiscard]] bool exact_user() const { return exact_user_; }

  // The object is filled when the command line is read, and has to be there until then.
  void add_options(CLI::App& command, const FilterTable& table, const char* entries);

  // Throws Refusal for times that are none and a period that ends before it begins.
  void resolve_period();

 private:
  [[nodiscard]] const char* period_text(const std::string& text) const { return has_period() ? text.c_str() : nullptr; }

  // Whole days are asked for by their dates alone: these have an index.
  [[nodiscard]] const char* time_text(const std::string& text) const {
    const bool whole_days = time_from_ == kDayBegins && time_to_ == kDayEnds;
    return whole_days ? nullptr : period_text(text);
  }

  static constexpr char kDayBegins[] = "00:00:00";
  static constexpr char kDayEnds[] = "23:59:59";

  std::optional<unsigned> type_;
  std::vector<std::optional<std::string>> texts_;
  std::vector<int> numbers_;
  bool exact_user_ = false;
  std::optional<std::string> since_;
  std::optional<std::string> until_;
  std::string date_from_ = "0000-01-01";
  std::string time_from_ = kDayBegins;
  std::string date_to_ = "9999-12-31";
  std::string time_to_ = kDayEnds;
};

// What a help text has to say about them.
extern const char* const kFilterNotes;

}  // namespace annalctl
