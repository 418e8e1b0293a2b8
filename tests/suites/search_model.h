// An independent model of a log's searches: their expected statements and rows.
#pragma once

#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Corix_annal.h"

namespace annal::test {

// A caller's arguments by name; those not in the maps are null or 0.
struct Search {
  const char* path = nullptr;
  std::map<std::string, std::string, std::less<>> texts{};
  std::map<std::string, int, std::less<>> numbers{};
  unsigned type = 0;
  unsigned sort = 0;
  unsigned group = 0;
  int start = 0;
  int end = 0;

  [[nodiscard]] const char* text(std::string_view name) const;
  [[nodiscard]] int number(std::string_view name) const;
};

// A filter's text as the first one and after another one.
struct FilterExample {
  const char* filter;
  Search search;
  bool exact_users;
  const char* first;
  const char* further;
};

struct SearchedLog {
  const char* path;
  const char* table;
  const char* prefix;  // of the column names
  const char* type_begin;
  const char* type_end;
  int* exact_users;
  std::vector<std::string> joined;  // the filters after type, period and user, in the order of joining
  std::vector<std::string> orders;
  std::vector<std::string> groupings;
  std::vector<FilterExample> examples;
  void (*create)();
};

struct SearchFunction {
  enum Kind { kListing, kGroups, kCount };

  const char* name;
  const SearchedLog* log;
  Kind kind;
  std::string begin;                // the statement's beginning
  std::vector<std::string> places;  // the filters' slots, in order
  int (*call)(const Search& search, annal_row_callback callback, void* context);
  std::size_t empty_places = 0;  // later slots, for filters of newer forms only
  unsigned sorts = 0;            // the number of accepted codes
  unsigned orders = 0;           // the number of codes that sort
  bool takes_path = false;
  bool pairs_dates = false;  // needs both dates
  bool pairs_times = false;

  [[nodiscard]] bool knows(std::string_view filter) const;
};

// The complete statement.
std::string statement(const SearchFunction& function, const Search& search);

// "LIMIT 20 OFFSET 10", or nothing for all rows.
std::string page(int start, int end);

// True if the filters join to a statement that SQLite refuses.
bool refused(const SearchFunction& function, const Search& search);

// The filters as an independent SQL condition.
std::string condition(const SearchFunction& function, const Search& search);

// A random search that this function accepts. Its texts contain everything that could break a statement.
Search random_search(const SearchFunction& function, std::mt19937& random);

// Entries of which random searches find some.
void put_random_entries(const SearchedLog& log, int count, std::mt19937& random);

// Every filter of the function, each with its own value.
Search full_search(const SearchFunction& function);

}  // namespace annal::test
