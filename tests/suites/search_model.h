// What a search of a log has to say and to find, worked out in another way than the library does it.
#pragma once

#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Corix_annal.h"

namespace annal::test {

// What a caller asks for. Texts and numbers go by the names of their arguments; what is not in the maps is null or 0.
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

// One filter as it stands in a statement, by itself and behind another one.
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
  const char* prefix;  // of its columns
  const char* type_begin;
  const char* type_end;
  int* exact_users;
  std::vector<std::string> joined;  // the filters behind type, period and user, in the order in which they are joined
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
  std::string begin;                // of its statement
  std::vector<std::string> places;  // of the filters, in the order in which they stand
  int (*call)(const Search& search, annal_row_callback callback, void* context);
  std::size_t empty_places = 0;  // behind these, of filters that only a newer form has
  unsigned sorts = 0;            // how many codes are accepted
  unsigned orders = 0;           // how many of them sort
  bool takes_path = false;
  bool pairs_dates = false;  // refuses one date without the other
  bool pairs_times = false;

  [[nodiscard]] bool knows(std::string_view filter) const;
};

// The whole statement.
std::string statement(const SearchFunction& function, const Search& search);

// "LIMIT 20 OFFSET 10", or nothing for all rows.
std::string page(int start, int end);

// True when the way the filters are joined makes a statement that SQLite refuses.
bool refused(const SearchFunction& function, const Search& search);

// The filters as a condition for SQLite that does without the statement's texts.
std::string condition(const SearchFunction& function, const Search& search);

// A search that this function accepts. Its texts hold everything that could upset a statement.
Search random_search(const SearchFunction& function, std::mt19937& random);

// Entries that random searches find some of.
void put_random_entries(const SearchedLog& log, int count, std::mt19937& random);

// Every filter that the function knows, each with a value of its own.
Search full_search(const SearchFunction& function);

}  // namespace annal::test
