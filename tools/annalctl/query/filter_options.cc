// The filter options, and the conditions they make.
#include "tools/annalctl/query/filter_options.h"

#include <fmt/format.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <ctime>
#include <iterator>
#include <limits>
#include <utility>

#include "tools/annalctl/arguments/number_range.h"
#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/whole_number.h"
#include "tools/annalctl/query/regular_expression.h"

namespace annalctl {

namespace {

using Texts = std::vector<std::string>;

// "--user,-u" becomes "--not-user": a single letter has no opposite.
std::string opposite_of(const std::string& option) {
  std::string names;
  for (const std::string& name : CLI::detail::split(option, ',')) {
    if (name.starts_with("--")) {
      names += (names.empty() ? "--not-" : ",--not-") + name.substr(2);
    }
  }
  return names;
}

std::string long_name(const std::string& option) {
  return option.substr(0, option.find(','));
}

// An option that takes one value each time it is given. take: throws Refusal for a value that it does not take.
template <typename Take>
CLI::Option* add_values(CLI::App& command, const std::string& option, const std::string& help, Take take) {
  return command
      .add_option(
          option,
          [take, name = long_name(option)](const CLI::results_t& values) {
            try {
              std::for_each(values.begin(), values.end(), take);
            } catch (const Refusal& refusal) {
              throw Refusal(fmt::format("{}: {}", name, refusal.what()));
            }
            return true;
          },
          help)
      ->take_all()
      ->allow_extra_args(false);
}

// Not in the list of options: the help explains all opposites in one sentence.
template <typename Take>
CLI::Option* add_opposite(CLI::App& command, const std::string& option, const std::string& help, Take take) {
  return add_values(command, opposite_of(option), help, take)->group("");
}

std::int64_t seconds_of(const char* option, const std::string& text, std::int64_t now, DayBound end) {
  const std::optional<std::int64_t> seconds = parse_when(text, now, end);
  if (!seconds) {
    throw Refusal(fmt::format("{}: '{}' is not a time: write it as '2026-11-21 10:00:00', 'yesterday' or '2 days ago'",
                              option, text));
  }
  return *seconds;
}

// Seconds before a time, which may be any number.
std::int64_t before(std::int64_t time, std::int64_t seconds) {
  constexpr std::int64_t kEarliest = std::numeric_limits<std::int64_t>::min();
  return time < kEarliest + seconds ? kEarliest : time - seconds;
}

// Checks that a condition cannot change the rest of its statement.
void require_expression(const std::string& text) {
  int open = 0;
  for (const char c : text) {
    open += c == '(' ? 1 : c == ')' ? -1 : 0;
    if (open < 0) {
      break;
    }
  }
  const bool whole = open == 0 && text.find_first_of("'\";?`[") == std::string::npos &&
                     text.find("--") == std::string::npos && text.find("/*") == std::string::npos;
  if (!whole) {
    throw Refusal(
        fmt::format("'{}' is not allowed: a condition has no quotes, comments, '?' or ';', and as many "
                    "')' as '('",
                    text));
  }
}

Condition matching(const TextFilter& filter, const char* column, const std::string& text, bool like) {
  switch (filter.match) {
    case Match::kEquals:
      return equals(column, text);
    case Match::kExpression:
      return matches(column, text);
    case Match::kContains:
      break;
  }
  return like ? resembles(column, text) : contains(column, text);
}

// One of the texts in one of the columns.
Condition having(const TextFilter& filter, const Texts& texts, bool like) {
  std::vector<Condition> alternatives;
  for (const std::string& text : texts) {
    for (const char* const column : filter.columns) {
      if (column != nullptr) {
        alternatives.push_back(matching(filter, column, text, like));
      }
    }
  }
  return any_of(std::move(alternatives));
}

template <typename Numbers, typename Read>
Condition having_number(const char* column, const Numbers& numbers, Read read) {
  std::vector<Condition> alternatives;
  std::transform(numbers.begin(), numbers.end(), std::back_inserter(alternatives),
                 [column, read](const auto& number) { return equals(column, std::int64_t{read(number)}); });
  return any_of(std::move(alternatives));
}

struct MomentTexts {
  std::string date;
  std::string time;
};

Condition period_of_texts(const TimeColumns& columns, const MomentTexts& from, const MomentTexts& to, bool whole_days) {
  // Whole days are compared by date alone, which has an index.
  if (whole_days) {
    return {fmt::format("{0} >= ? AND {0} <= ?", columns.date), {from.date, to.date}};
  }
  return {
      fmt::format("{0} >= ? AND {0} <= ? AND {0}||' '||{1} >= ? AND {0}||' '||{1} <= ?", columns.date, columns.time),
      {from.date, to.date, from.date + " " + from.time, to.date + " " + to.time}};
}

Condition period_between(const TimeColumns& columns, std::optional<std::int64_t> from, std::optional<std::int64_t> to) {
  using Seconds = std::numeric_limits<std::int64_t>;
  if (columns.seconds != nullptr) {
    return {fmt::format("{0} >= ? AND {0} <= ?", columns.seconds),
            {from.value_or(Seconds::min()), to.value_or(Seconds::max())}};
  }
  constexpr char kDayBegins[] = "00:00:00";
  constexpr char kDayEnds[] = "23:59:59";
  MomentTexts first{"0000-01-01", kDayBegins};
  MomentTexts last{"9999-12-31", kDayEnds};
  if (from) {
    const DateAndTime moment = date_and_time(*from);
    first = {moment.date, moment.time};
  }
  if (to) {
    const DateAndTime moment = date_and_time(*to);
    last = {moment.date, moment.time};
  }
  return period_of_texts(columns, first, last, first.time == kDayBegins && last.time == kDayEnds);
}

}  // namespace

const char* const kFilterNotes =
    "Entries have to meet all filters. A filter with several values takes entries\n"
    "with any of them, and has an opposite: --not-user, --not-type and so on.\n"
    "A TEXT is found anywhere in its column and ignores the case of a to z; with\n"
    "--like, '%' in it matches any text and '_' any character. An EXPRESSION is a\n"
    "regular one (RE2's), and ignores case if it has no capital letter.\n";

std::int64_t read_number_within(const std::string& text, std::int64_t least, std::int64_t most) {
  const std::optional<std::int64_t> number = whole_number<std::int64_t>(text);
  if (!number || *number < least || *number > most) {
    throw Refusal(fmt::format("'{}' is not a whole number from {} to {}", text, least, most));
  }
  return *number;
}

void FilterOptions::add_level(CLI::App& command, const LevelFilter& filter, const char* entries) {
  // "a,b" is both of them.
  const auto into = [this, &filter](std::vector<unsigned>& codes) {
    return [this, &filter, &codes](const std::string& text) {
      for (const std::string& name : CLI::detail::split(text, ',')) {
        if (same_letters(name, "all")) {
          levels_.all = true;
        } else {
          codes.push_back(require_code(filter.levels, long_name(filter.option).c_str(), name));
        }
      }
    };
  };
  CLI::Option* const wanted =
      add_values(command, filter.option, fmt::format("Only {} of this level: {}", entries, names_of(filter.levels)),
                 into(levels_.wanted));
  offer(wanted->type_name("NAME"), filter.levels);
  add_opposite(command, filter.option, fmt::format("No {} of this level: {}", entries, names_of(filter.levels)),
               into(levels_.unwanted));
  add_choice(command, "--priority,-p", levels_.least, filter.levels, "Only this level and worse");
}

void FilterOptions::add_text(CLI::App& command, const TextFilter& filter, Values& values) {
  const auto into = [&filter](Texts& texts) {
    return [&filter, &texts](const std::string& text) {
      if (filter.match == Match::kExpression) {
        require_regular_expression(text);
      }
      texts.push_back(text);
    };
  };
  static constexpr std::array kForms{"TEXT", "NAME", "EXPRESSION"};
  static constexpr std::array kHelp{"Only those with this text in the {}", "Only those of exactly this {}",
                                    "Only those that an expression finds in the {}"};
  const auto match = static_cast<std::size_t>(filter.match);
  add_values(command, filter.option, fmt::format(fmt::runtime(kHelp.at(match)), filter.what), into(values.wanted))
      ->type_name(kForms.at(match));
  add_opposite(command, filter.option, fmt::format("The opposite of {}", filter.option), into(values.unwanted));
}

void FilterOptions::add_number(CLI::App& command, const NumberFilter& filter, Values& values) {
  if (filter.flag) {
    const std::string number = fmt::to_string(*filter.flag);
    command.add_flag_callback(
        filter.option, [number, &values] { values.wanted.push_back(number); }, filter.help);
    command
        .add_flag_callback(
            opposite_of(filter.option), [number, &values] { values.unwanted.push_back(number); },
            fmt::format("The opposite of {}", filter.option))
        ->group("");
    return;
  }
  const auto into = [&filter](Texts& numbers) {
    return [&filter, &numbers](const std::string& text) {
      static_cast<void>(filter.read(text));
      numbers.push_back(text);
    };
  };
  auto* const wanted = add_values(command, filter.option, filter.help, into(values.wanted))->type_name("N");
  auto* const unwanted =
      add_opposite(command, filter.option, fmt::format("The opposite of {}", filter.option), into(values.unwanted));
  if (filter.names) {
    take_names(wanted, *filter.names);
    take_names(unwanted, *filter.names);
  }
}

void FilterOptions::add_options(CLI::App& command, const LogFilters& table, const char* entries) {
  texts_.resize(table.texts.size());
  numbers_.resize(table.numbers.size());
  add_level(command, table.level, entries);
  command.add_option(table.time.since, since_, fmt::format("Only {} from this time on", entries))->type_name("TIME");
  command.add_option(table.time.until, until_, fmt::format("Only {} up to this time", entries))->type_name("TIME");
  command.add_option("--days", days_, "Only those of the N days (of 24 hours) before --until, or now")
      ->type_name("N")
      ->check(at_least(0));
  for (std::size_t i = 0; i < table.texts.size(); ++i) {
    add_text(command, table.texts[i], texts_[i]);
  }
  command.add_flag("--like", like_, "In a TEXT, '%' matches any text, '_' any character");
  for (std::size_t i = 0; i < table.numbers.size(); ++i) {
    add_number(command, table.numbers[i], numbers_[i]);
  }
  command.add_option("--where", where_, "Only those that meet an SQL expression on the columns, without quotes")
      ->type_name("SQL");
}

bool FilterOptions::any() const {
  const auto asked = [](const Values& values) { return !values.wanted.empty() || !values.unwanted.empty(); };
  return levels_.least || !levels_.wanted.empty() || !levels_.unwanted.empty() || since_ || until_ || days_ ||
         !where_.empty() || std::any_of(texts_.begin(), texts_.end(), asked) ||
         std::any_of(numbers_.begin(), numbers_.end(), asked);
}

FilterOptions::Period FilterOptions::period() const {
  constexpr std::int64_t kDay = 86400;
  const std::int64_t now = std::time(nullptr);
  Period period;
  if (until_) {
    period.to = seconds_of("--until", *until_, now, DayBound::kEnd);
  }
  if (since_) {
    period.from = seconds_of("--since", *since_, now, DayBound::kStart);
  }
  if (period.from && period.to && *period.from > *period.to) {
    const DateAndTime from = date_and_time(*period.from);
    const DateAndTime to = date_and_time(*period.to);
    throw Refusal(
        fmt::format("the period ends on {} {}, before it begins on {} {}", to.date, to.time, from.date, from.time));
  }
  if (days_) {
    period.to = period.to.value_or(now);
    const std::int64_t first = before(*period.to, *days_ * kDay);
    period.from = std::max(period.from.value_or(first), first);
  }
  return period;
}

void FilterOptions::add_level_conditions(const LevelFilter& filter, std::vector<Condition>& conditions) const {
  const auto code = [](unsigned stored) { return std::int64_t{stored}; };
  if (!levels_.wanted.empty() && !levels_.all) {
    conditions.push_back(having_number(filter.column, levels_.wanted, code));
  }
  if (!levels_.unwanted.empty()) {
    conditions.push_back(negated(having_number(filter.column, levels_.unwanted, code)));
  }
  if (levels_.least) {
    conditions.push_back(
        {fmt::format("{} {} ?", filter.column, filter.rising ? ">=" : "<="), {std::int64_t{*levels_.least}}});
  }
}

void FilterOptions::add_value_conditions(const LogFilters& table, std::vector<Condition>& conditions) const {
  for (std::size_t i = 0; i < texts_.size(); ++i) {
    if (!texts_[i].wanted.empty()) {
      conditions.push_back(having(table.texts[i], texts_[i].wanted, like_));
    }
    if (!texts_[i].unwanted.empty()) {
      conditions.push_back(negated(having(table.texts[i], texts_[i].unwanted, like_)));
    }
  }
  for (std::size_t i = 0; i < numbers_.size(); ++i) {
    const NumberFilter& filter = table.numbers[i];
    const auto number = [&filter](const std::string& text) { return filter.flag ? *filter.flag : filter.read(text); };
    if (!numbers_[i].wanted.empty()) {
      conditions.push_back(having_number(filter.column, numbers_[i].wanted, number));
    }
    if (!numbers_[i].unwanted.empty()) {
      conditions.push_back(negated(having_number(filter.column, numbers_[i].unwanted, number)));
    }
  }
}

std::vector<Condition> FilterOptions::conditions(const LogFilters& table) const {
  std::vector<Condition> conditions;
  add_level_conditions(table.level, conditions);
  if (since_ || until_ || days_) {
    const Period asked = period();
    conditions.push_back(period_between(table.time, asked.from, asked.to));
  }
  add_value_conditions(table, conditions);
  if (!where_.empty()) {
    require_expression(where_);
    conditions.push_back({where_, {}});
  }
  return conditions;
}

}  // namespace annalctl
