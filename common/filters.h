// The filters of a search: which of them are there, how each is joined to those before it, and where it stands.
#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

#include "Corix_annal.h"
#include "common/flag.h"
#include "common/joiner.h"
#include "common/statement.h"
#include "common/text.h"

namespace annal {

// Builds the filters' texts one after the other in the order in which they are joined. Where each then stands in the
// statement is its place, which need not follow that order.
class Filters {
 public:
  static constexpr std::size_t kMostPlaces = 13;

  template <typename... Values>
  void place(std::size_t place, const Clause& clause, Values... values) noexcept {
    texts_[place] = Text(sqlite3_mprintf(joiner_.next(clause), values...));
    complete_ = complete_ && texts_[place].built();
  }

  // False when a filter could not be built: its statement would find more than was asked for.
  [[nodiscard]] bool complete() const noexcept { return complete_; }

  // The filter in a place; empty where none is.
  [[nodiscard]] const char* operator[](std::size_t place) const noexcept {
    return texts_[place].built() ? texts_[place].c_str() : "";
  }

 private:
  std::array<Text, kMostPlaces> texts_;
  Joiner joiner_;
  bool complete_ = true;
};

// A filter on one value of a search's conditions, there when the text is not null or the number not 0.
template <typename Conditions>
struct ValueFilter {
  std::size_t place;
  Clause clause;  // formats: the value
  const char* Conditions::*text;
  int Conditions::*number;  // null when the value is a text
};

template <typename Conditions>
void place_values(Filters& filters, std::span<const ValueFilter<Conditions>> rows,
                  const Conditions& conditions) noexcept {
  for (const auto& [place, clause, text, number] : rows) {
    if (number == nullptr) {
      if (const char* value = conditions.*text) {
        filters.place(place, clause, value);
      }
    } else if (conditions.*number != 0) {
      filters.place(place, clause, conditions.*number);
    }
  }
}

// From when until when: dates alone, or dates and times. Without a first date there is no period.
struct Period {
  const char* first_date;
  const char* last_date;
  const char* first_time;
  const char* last_time;
};

struct PeriodClauses {
  Clause dates;             // formats: both dates
  Clause dates_with_times;  // formats: first date, first time, last date, last time
};

inline void place_period(Filters& filters, std::size_t place, const PeriodClauses& clauses,
                         const Period& period) noexcept {
  if (period.first_date == nullptr) {
    return;
  }
  if (period.first_time == nullptr) {
    filters.place(place, clauses.dates, period.first_date, period.last_date);
  } else {
    filters.place(place, clauses.dates_with_times, period.first_date, period.first_time, period.last_date,
                  period.last_time);
  }
}

// Where the filters that every log has stand; the others' places are the log's own.
enum CommonPlace : std::size_t {
  kTypePlace,
  kPeriodPlace,
  kUserPlace,
};

// The filters of a log's searches. Its conditions have a type, a period and a user beside the values: 0, no first date
// and null ask for nothing.
template <typename Conditions>
struct FilterTable {
  Clause type;  // format: the stored type, which is one less than the caller's
  PeriodClauses period;
  Clause user_exactly;
  Clause user_contains;
  int* exact_users;  // the exported flag that decides between the two
  std::span<const ValueFilter<Conditions>> values;
};

template <typename Conditions>
[[nodiscard]] Filters filters_of(const FilterTable<Conditions>& table, const Conditions& wanted) noexcept {
  Filters filters;
  if (wanted.type != 0) {
    filters.place(kTypePlace, table.type, static_cast<int>(wanted.type) - 1);
  }
  place_period(filters, kPeriodPlace, table.period, wanted.period);
  if (wanted.user != nullptr) {
    filters.place(kUserPlace, is_set(*table.exact_users) ? table.user_exactly : table.user_contains, wanted.user);
  }
  place_values(filters, table.values, wanted);
  return filters;
}

// Where the rows of a listing go.
struct Receiver {
  annal_row_callback callback;
  void* context;
};

// A search's statement, and how many of the filters have a place in it. Before them stand the columns where they are
// named, behind them up to three texts more.
struct Search {
  Statement statement;
  std::size_t places;
  const char* columns = nullptr;
};

// The statement with all its places filled; not built when one of its filters is not.
[[nodiscard]] inline Text search_text(const Search& search, const Filters& filters,
                                      std::span<const char* const> tail = {}) noexcept {
  constexpr std::size_t kMostInTail = 3;
  constexpr std::size_t kMost = 1 + Filters::kMostPlaces + kMostInTail;
  if (!filters.complete()) {
    return Text(nullptr);
  }
  // A format takes as many of these as it has places.
  std::array<const char*, kMost> all{};
  std::size_t texts = 0;
  if (search.columns != nullptr) {
    all[texts++] = search.columns;
  }
  for (std::size_t place = 0; place < search.places; ++place) {
    all[texts++] = filters[place];
  }
  std::copy_n(tail.begin(), std::min(tail.size(), kMostInTail), &all[texts]);
  return Text(sqlite3_mprintf(search.statement.text, all[0], all[1], all[2], all[3], all[4], all[5], all[6], all[7],
                              all[8], all[9], all[10], all[11], all[12], all[13], all[14], all[15], all[16]));
}

}  // namespace annal
