// The conditions that listed, counted and grouped entries have to meet.
#pragma once

#include <CLI/CLI.hpp>
#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/query/query.h"

namespace annalctl {

// Looks for entries that contain a text in a column.
struct TextFilter {
  const char* option;
  const char* column;
  const char* what;  // completes "Only those with this text in the …"
};

// Looks for entries that have a number in a column. 0 is "any", and cannot be looked for.
struct NumberFilter {
  const char* option;
  const char* column;
  const char* help;
  int most;
  int flag;  // not 0: the option takes no number, and means this one
};

// What a log's queries can look for. The first text is the user's.
struct LogFilters {
  const char* type;  // the columns of the level, the date and the time
  const char* date;
  const char* time;
  std::span<const TextFilter> texts;
  std::span<const NumberFilter> numbers;

  // What the grouping queries, which never got the later filters, can look for.
  [[nodiscard]] LogFilters first(std::size_t text_count) const {
    LogFilters first = *this;
    first.texts = texts.first(text_count);
    return first;
  }
};

// The values that are asked for.
class FilterOptions {
 public:
  // The object is filled when the command line is read, and has to be there until then.
  void add_options(CLI::App& command, const LogFilters& table, const char* entries);

  // Throws Refusal for times that are none and a period that ends before it begins.
  void resolve_period();

  // Once the period is resolved.
  [[nodiscard]] std::vector<Condition> conditions(const LogFilters& table) const;

 private:
  [[nodiscard]] Condition period(const LogFilters& table) const;

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
