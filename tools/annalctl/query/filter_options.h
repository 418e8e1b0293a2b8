// The conditions that listed, counted and grouped entries have to meet.
#pragma once

#include <CLI/CLI.hpp>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/arguments/names.h"
#include "tools/annalctl/query/query.h"

namespace annalctl {

// How the text that is looked for and that of an entry have to agree.
enum class Match {
  kContains,    // in either case
  kEquals,      // to the letter
  kExpression,  // a regular expression
};

// Looks for entries that have a text in one of some columns.
struct TextFilter {
  const char* option;
  std::array<const char*, 3> columns;
  const char* what;  // completes "Only those with this text in the …"
  Match match = Match::kContains;
};

// Looks for entries that have a number in a column.
struct NumberFilter {
  const char* option;
  const char* column;
  const char* help;
  // What a text on the command line stands for. Throws Refusal for what stands for none.
  std::int64_t (*read)(const std::string& text);
  std::optional<std::int64_t> flag{};  // the option takes no number, and means this one
  std::optional<Named> names{};        // it takes these names, too
};

// Looks for the level of an entry.
struct LevelFilter {
  const char* option;
  const char* column;
  std::span<const Choice> levels;  // as they are stored
  bool rising;                     // the higher the number the worse
};

// When an entry was made: as local date and time, or in seconds since 1970.
struct TimeColumns {
  const char* date;
  const char* time;
  const char* seconds;  // null: the other two
  const char* since = "--since";
  const char* until = "--until";
};

// What a log's queries can look for.
struct LogFilters {
  LevelFilter level;
  TimeColumns time;
  std::span<const TextFilter> texts;
  std::span<const NumberFilter> numbers;
};

// A number within bounds, for NumberFilter::read. Throws Refusal.
[[nodiscard]] std::int64_t read_number_within(const std::string& text, std::int64_t least, std::int64_t most);

// The values that are asked for. Each filter may be given several times, and then takes entries that meet it with any
// of the values; its opposite, "--not-…", takes those that meet it with none.
class FilterOptions {
 public:
  // The object is filled when the command line is read, and has to be there until then.
  void add_options(CLI::App& command, const LogFilters& table, const char* entries);

  // Whether anything is asked for.
  [[nodiscard]] bool any() const;

  // Throws Refusal for times that are none and a period that ends before it begins. Once the command line was read.
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

// What a help text has to say about them.
extern const char* const kFilterNotes;

}  // namespace annalctl
