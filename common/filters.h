// The filters of a search: which are present, how each is joined to those before it, and its slot in the statement.
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

// Builds the filters' texts in the order in which they are joined. A filter's slot is its position in the statement,
// which need not follow that order.
class Filters {
 public:
  static constexpr std::size_t kMaxSlots = 13;

  template <typename... Values>
  void add(std::size_t slot, const Clause& clause, Values... values) noexcept {
    texts_[slot] = Text(sqlite3_mprintf(joiner_.next(clause), values...));
    complete_ = complete_ && texts_[slot].built();
  }

  // False if a filter could not be built: its statement would find more than the caller asked for.
  [[nodiscard]] bool complete() const noexcept { return complete_; }

  // The filter in a slot, or an empty text.
  [[nodiscard]] const char* operator[](std::size_t slot) const noexcept {
    return texts_[slot].built() ? texts_[slot].c_str() : "";
  }

 private:
  std::array<Text, kMaxSlots> texts_;
  Joiner joiner_;
  bool complete_ = true;
};

// A filter on one value of a search's conditions, present if the text is not null or the number is not 0.
template <typename Conditions>
struct ValueFilter {
  std::size_t slot;
  Clause clause;  // formats: the value
  const char* Conditions::*text;
  int Conditions::*number;  // null when the value is a text
};

template <typename Conditions>
void add_values(Filters& filters, std::span<const ValueFilter<Conditions>> rows,
                const Conditions& conditions) noexcept {
  for (const auto& [slot, clause, text, number] : rows) {
    if (number == nullptr) {
      if (const char* value = conditions.*text) {
        filters.add(slot, clause, value);
      }
    } else if (conditions.*number != 0) {
      filters.add(slot, clause, conditions.*number);
    }
  }
}

// A period: dates alone, or dates and times. Without a first date there is no period.
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

inline void add_period(Filters& filters, std::size_t slot, const PeriodClauses& clauses,
                       const Period& period) noexcept {
  if (period.first_date == nullptr) {
    return;
  }
  if (period.first_time == nullptr) {
    filters.add(slot, clauses.dates, period.first_date, period.last_date);
  } else {
    filters.add(slot, clauses.dates_with_times, period.first_date, period.first_time, period.last_date,
                period.last_time);
  }
}

// The slots of the filters that every log has. The other slots are the log's own.
enum CommonSlot : std::size_t {
  kTypeSlot,
  kPeriodSlot,
  kUserSlot,
};

// The filters of a log's searches. Besides the values, its conditions have a type, a period and a user; 0, a null first
// date and a null user mean no filter.
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
    filters.add(kTypeSlot, table.type, static_cast<int>(wanted.type) - 1);
  }
  add_period(filters, kPeriodSlot, table.period, wanted.period);
  if (wanted.user != nullptr) {
    filters.add(kUserSlot, is_set(*table.exact_users) ? table.user_exactly : table.user_contains, wanted.user);
  }
  add_values(filters, table.values, wanted);
  return filters;
}

// Receives the rows of a listing.
struct Receiver {
  annal_row_callback callback;
  void* context;
};

// A search's statement, and how many of the filters have a slot in it. The columns precede the filters if the statement
// names them; up to three more texts follow.
struct Search {
  Statement statement;
  std::size_t slots;
  const char* columns = nullptr;
};

// The statement with all its slots filled, or a null text if a filter could not be built.
[[nodiscard]] inline Text search_text(const Search& search, const Filters& filters,
                                      std::span<const char* const> tail = {}) noexcept {
  constexpr std::size_t kMaxTail = 3;
  constexpr std::size_t kMaxTexts = 1 + Filters::kMaxSlots + kMaxTail;
  if (!filters.complete()) {
    return Text(nullptr);
  }
  // A format uses as many of these as it has slots.
  std::array<const char*, kMaxTexts> all{};
  std::size_t texts = 0;
  if (search.columns != nullptr) {
    all[texts++] = search.columns;
  }
  for (std::size_t slot = 0; slot < search.slots; ++slot) {
    all[texts++] = filters[slot];
  }
  std::copy_n(tail.begin(), std::min(tail.size(), kMaxTail), &all[texts]);
  return Text(sqlite3_mprintf(search.statement.sql, all[0], all[1], all[2], all[3], all[4], all[5], all[6], all[7],
                              all[8], all[9], all[10], all[11], all[12], all[13], all[14], all[15], all[16]));
}

}  // namespace annal
