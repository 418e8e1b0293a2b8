#include "tools/annalctl/query/filter_options.h"

#include <fmt/format.h>

#include <ctime>

#include "tools/annalctl/arguments/when.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/log/level.h"

namespace annalctl {

namespace {

std::int64_t seconds_of(const char* option, const std::string& text, std::int64_t now, DayBound end) {
  const std::optional<std::int64_t> seconds = parse_when(text, now, end);
  if (!seconds) {
    throw Refusal(fmt::format("{}: '{}' is no time: write it as '2026-11-21 10:00:00', 'yesterday' or '2 days ago'",
                              option, text));
  }
  return *seconds;
}

}  // namespace

const char* const kFilterNotes =
    "Entries have to meet all conditions. In a TEXT '%' stands for any text and '_' for any character, and the "
    "letters\n"
    "a to z are the same in both cases.\n";

void FilterOptions::add_options(CLI::App& command, const LogFilters& table, const char* entries) {
  texts_.resize(table.texts.size());
  numbers_.resize(table.numbers.size());
  add_choice(command, "--type", type_, kLevelFilters, fmt::format("Only {} of this level", entries).c_str());
  command.add_option("--since", since_, fmt::format("Only {} from this time on", entries))->type_name("TIME");
  command.add_option("--until", until_, fmt::format("Only {} up to this time", entries))->type_name("TIME");
  std::vector<CLI::Option*> options;
  for (std::size_t i = 0; i < table.texts.size(); ++i) {
    const TextFilter& filter = table.texts[i];
    options.push_back(
        command.add_option(filter.option, texts_[i], fmt::format("Only those with this text in the {}", filter.what))
            ->type_name("TEXT"));
  }
  command
      .add_option_function<std::string>(
          "--exact-user",
          [this](const std::string& name) {
            texts_.front() = name;
            exact_user_ = true;
          },
          "Only those of the user of exactly this name")
      ->type_name("NAME")
      ->excludes(options.front());
  for (std::size_t i = 0; i < table.numbers.size(); ++i) {
    const NumberFilter& filter = table.numbers[i];
    int& number = numbers_[i];
    if (filter.flag != 0) {
      command.add_flag_callback(
          filter.option, [&number, &filter] { number = filter.flag; }, filter.help);
    } else {
      command.add_option(filter.option, number, filter.help)->type_name("N")->check(CLI::Range(1, filter.most));
    }
  }
}

void FilterOptions::resolve_period() {
  const std::int64_t now = std::time(nullptr);
  if (since_) {
    const DateAndTime since = date_and_time(seconds_of("--since", *since_, now, DayBound::kStart));
    date_from_ = since.date;
    time_from_ = since.time;
  }
  if (until_) {
    const DateAndTime until = date_and_time(seconds_of("--until", *until_, now, DayBound::kEnd));
    date_to_ = until.date;
    time_to_ = until.time;
  }
  if (date_from_ + time_from_ > date_to_ + time_to_) {
    throw Refusal(
        fmt::format("the period ends on {} {}, before it begins on {} {}", date_to_, time_to_, date_from_, time_from_));
  }
}

Condition FilterOptions::period(const LogFilters& table) const {
  // Whole days are asked for by their dates alone: these have an index.
  if (time_from_ == kDayBegins && time_to_ == kDayEnds) {
    return {fmt::format("{0} >= ? AND {0} <= ?", table.date), {date_from_, date_to_}};
  }
  return {fmt::format("{0}||' '||{1} >= ? AND {0}||' '||{1} <= ?", table.date, table.time),
          {date_from_ + " " + time_from_, date_to_ + " " + time_to_}};
}

std::vector<Condition> FilterOptions::conditions(const LogFilters& table) const {
  std::vector<Condition> conditions;
  if (type_.value_or(0) != 0) {
    conditions.push_back(equals(table.type, std::int64_t{*type_} - 1));
  }
  if (since_ || until_) {
    conditions.push_back(period(table));
  }
  for (std::size_t i = 0; i < texts_.size(); ++i) {
    if (texts_[i]) {
      const char* const column = table.texts[i].column;
      conditions.push_back(i == 0 && exact_user_ ? equals(column, *texts_[i]) : contains(column, *texts_[i]));
    }
  }
  for (std::size_t i = 0; i < numbers_.size(); ++i) {
    if (numbers_[i] != 0) {
      conditions.push_back(equals(table.numbers[i].column, std::int64_t{numbers_[i]}));
    }
  }
  return conditions;
}

}  // namespace annalctl
