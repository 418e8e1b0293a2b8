// The conditions of listing, counting and grouping entries.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/arguments/names.h"
#include "tools/annalctl/base/cli_types.h"
#include "tools/annalctl/query/query.h"

namespace annalctl {

// How a text filter compares.
enum class Match {
  kContains,    // ignoring case
  kEquals,      // exactly
  kExpression,  // a regular expression
};

// Finds entries with a text in any of some columns.
struct TextFilter {
  const char* option;
  std::array<const char*, 3> columns;
  const char* what;  // completes "Only those with this text in the …"
  Match match = Match::kContains;
};

// Finds entries with a number in a column.
struct NumberFilter {
  const char* option;
  const char* column;
  const char* help;
  // The number that a text on the command line means. Throws Refusal for any other text.
  std::int64_t (*read)(const std::string& text);
  std::optional<std::int64_t> flag{};  // the option takes no number and means this one
  std::optional<Named> names{};        // it takes these names, too
};

// Finds entries by level.
struct LevelFilter {
  const char* option;
  const char* column;
  std::span<const Choice> levels;  // as they are stored
  bool rising;                     // the higher the number, the worse
};

// When an entry happened: local date and time, or seconds since 1970.
struct TimeColumns {
  const char* date;
  const char* time;
  const char* seconds;  // null: the log has the other two
  const char* since = "--since";
  const char* until = "--until";
};

// The filters of a log's queries.
struct LogFilters {
  LevelFilter level;
  TimeColumns time;
  std::span<const TextFilter> texts;
  std::span<const NumberFilter> numbers;
};

// A number within bounds, for NumberFilter::read. Throws Refusal.
[[nodiscard]] std::int64_t read_number_within(const std::string& text, std::int64_t least, std::int64_t most);

// The filters' values. A filter that is given several times takes entries with any of the values; its opposite,
// "--not-…", takes entries with none of them.
class FilterOptions {
 public:
  // Parsing the command line fills the object, which must exist until then.
  void add_options(CLI::App& command, const LogFilters& table, const char* entries);

  // Whether there is any filter.
  [[nodiscard]] bool any() const;

  // After the command line was parsed. Throws Refusal for invalid times and a period that ends before it begins.
  [[nodiscard]] std::vector<Condition> conditions(const LogFilters& table) const;

 private:
  struct Values {
    std::vector<std::string> wanted;
    std::vector<std::string> unwanted;
  };
  struct Levels {
    std::vector<unsigned> wanted;
    std::vector<unsigned> unwanted;
    std::optional<unsigned> least;
    bool all = false;
  };
  struct Period {
    std::optional<std::int64_t> from;
    std::optional<std::int64_t> to;
  };

  void add_level(CLI::App& command, const LevelFilter& filter, const char* entries);
  static void add_text(CLI::App& command, const TextFilter& filter, Values& values);
  static void add_number(CLI::App& command, const NumberFilter& filter, Values& values);

  void add_level_conditions(const LevelFilter& filter, std::vector<Condition>& conditions) const;
  void add_value_conditions(const LogFilters& table, std::vector<Condition>& conditions) const;
  [[nodiscard]] Period period() const;

  Levels levels_;
  std::vector<Values> texts_;
  std::vector<Values> numbers_;
  bool like_ = false;
  std::optional<std::string> since_;
  std::optional<std::string> until_;
  std::optional<int> days_;
  std::string where_;
};

// The help's notes on filters.
extern const char* const kFilterNotes;

}  // namespace annalctl
