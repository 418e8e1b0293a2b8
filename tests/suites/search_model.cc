// The model: builds a search's expected statement, and an independent condition for its rows.
#include "tests/suites/search_model.h"

#include <algorithm>
#include <array>
#include <span>

#include "tests/support/log_file.h"

namespace annal::test {

namespace {

constexpr std::string_view kNumbers[] = {"serv", "action", "action_result"};

bool is_number(std::string_view filter) {
  return std::ranges::count(kNumbers, filter) != 0;
}

// Escapes a text as SQLite's formatter does between quotes; a null pointer becomes "(NULL)".
std::string escaped(const char* text) {
  if (text == nullptr) {
    return "(NULL)";
  }
  std::string all;
  for (const char* next = text; *next != '\0'; ++next) {
    all += *next == '\'' ? "''" : std::string(1, *next);
  }
  return all;
}

std::string quoted(const char* text) {
  return "'" + escaped(text) + "'";
}

bool has(const SearchFunction& function, const Search& search, std::string_view filter) {
  return function.knows(filter) && (search.text(filter) != nullptr || search.number(filter) != 0);
}

bool has_any(const SearchFunction& function, const Search& search, std::initializer_list<std::string_view> filters) {
  return std::ranges::any_of(filters, [&](std::string_view filter) { return has(function, search, filter); });
}

unsigned below(std::size_t limit, std::mt19937& random) {
  return static_cast<unsigned>(random() % limit);
}

template <typename T, std::size_t size>
const T& one_of(const std::array<T, size>& pool, std::mt19937& random) {
  return pool[below(size, random)];
}

constexpr std::array kDates = {"2020-01-01", "2020-01-02", "2020-01-03", "2020-02-01", "2021-01-01", "", "o'clock"};
constexpr std::array kTimes = {"00:00:00", "09:00:00", "12:30:00", "23:59:59", "", "%q 'x'"};
constexpr std::array kTexts = {
    "",
    "a",
    "A",
    "adm",
    "Admin",
    "administrator",
    "%",
    "_",
    "a_m",
    "50%",
    "o'brien",
    "'",
    "''",
    "\"x",
    "%q",
    "%s%",
    "%d",
    "\\",
    "'; DROP TABLE x;--",
    "müll",
    "MÜLL",
    "ü",
    "日本",
    "a b",
    " ",
    "192.168.1",
};
constexpr std::array kServices = {-1, 0, 0, 1, 3, 12};
constexpr std::array kActions = {-5, 0, 0, 9, 10, 36};
constexpr std::array kActionResults = {0, 13};

int random_number(std::string_view filter, std::mt19937& random) {
  return filter == "serv"     ? one_of(kServices, random)
         : filter == "action" ? one_of(kActions, random)
                              : one_of(kActionResults, random);
}

std::string joined(bool first, const std::string& column, const Search& search, const std::string& filter) {
  return (first ? "WHERE (" : " AND (") + column +
         (is_number(filter) ? " = " + std::to_string(search.number(filter))
                            : " LIKE '%" + escaped(search.text(filter)) + "%'") +
         ")";
}

// The same condition in other SQL.
std::string reworded(const std::string& column, const Search& search, const std::string& filter) {
  return " AND " + column +
         (is_number(filter) ? " IS " + std::to_string(search.number(filter))
                            : " LIKE '%' || " + quoted(search.text(filter)) + " || '%'");
}

std::string random_value(const std::string& filter, std::mt19937& random) {
  constexpr unsigned kOneInSoManyIsNull = 10;
  return is_number(filter)                        ? std::to_string(random_number(filter, random))
         : below(kOneInSoManyIsNull, random) == 0 ? "NULL"
                                                  : quoted(one_of(kTexts, random));
}

std::string random_entry(const SearchedLog& log, std::mt19937& random) {
  const std::string prefix = log.prefix;
  std::string columns = prefix + "type, " + prefix + "date, " + prefix + "time, " + prefix + "user";
  std::string values = std::to_string(below(3, random)) + ", " + quoted(one_of(kDates, random)) + ", " +
                       quoted(one_of(kTimes, random)) + ", " + quoted(one_of(kTexts, random));
  for (const std::string& filter : log.joined) {
    columns.append(", ").append(prefix).append(filter);
    values.append(", ").append(random_value(filter, random));
  }
  return std::string("INSERT INTO ") + log.table + " (" + columns + ") VALUES (" + values + ");";
}

}  // namespace

const char* Search::text(std::string_view name) const {
  const auto found = texts.find(name);
  return found != texts.end() ? found->second.c_str() : nullptr;
}

int Search::number(std::string_view name) const {
  const auto found = numbers.find(name);
  return found != numbers.end() ? found->second : 0;
}

bool SearchFunction::knows(std::string_view filter) const {
  return std::ranges::count(places, filter) != 0;
}

std::string page(int start, int end) {
  return start == 0 && end == 0 ? "" : "LIMIT " + std::to_string(end - start) + " OFFSET " + std::to_string(start);
}

std::string statement(const SearchFunction& function, const Search& search) {
  const SearchedLog& log = *function.log;
  const std::string prefix = log.prefix;
  std::map<std::string, std::string> placed;
  bool free = true;  // no WHERE yet

  if (search.type != 0) {
    placed["type"] = log.type_begin + std::to_string(search.type - 1) + log.type_end;
    free = false;
  }
  if (function.knows("period") && search.text("date_from") != nullptr) {
    std::string from = escaped(search.text("date_from"));
    std::string to = escaped(search.text("date_to"));
    std::string moment = prefix + "date";
    std::string blank;
    if (search.text("time_from") != nullptr) {
      from += " " + escaped(search.text("time_from"));
      to += " " + escaped(search.text("time_to"));
      moment += "||' '||" + prefix + "time";
      blank = " ";
    }
    placed["period"] =
        (free ? blank + "WHERE (" : " AND (") + moment + " >= '" + from + "') AND (" + moment + " <= '" + to + "')";
    free = false;
  }
  if (has(function, search, "user")) {
    const std::string user = escaped(search.text("user"));
    const std::string comparison = *log.exact_users != 0 ? " = '" + user : " LIKE '%" + user + "%";
    placed["user"] = (free ? "WHERE (" : " AND (") + prefix + "user" + comparison + "')";
    free = false;
  }
  for (const std::string& filter : log.joined) {
    if (!has(function, search, filter)) {
      continue;
    }
    placed[filter] = joined(free, prefix + filter, search, filter);
    free = free && filter == "category_id";  // this filter does not count
  }

  std::string all = function.begin;
  for (const std::string& place : function.places) {
    all += " " + placed[place];
  }
  all.append(function.empty_places, ' ');
  if (function.kind == SearchFunction::kGroups) {
    all += " " + log.groupings.at(search.group);
  }
  if (function.kind != SearchFunction::kCount) {
    all += " " + (search.sort < function.orders ? log.orders.at(search.sort) : "");
    all += " " + page(search.start, search.end);
  }
  return all + ";";
}

bool refused(const SearchFunction& function, const Search& search) {
  if (function.log->prefix != std::string("event_") || search.type != 0 ||
      (function.knows("period") && search.text("date_from") != nullptr) ||
      has_any(function, search, {"user", "ip", "comp", "desc"})) {
    return false;
  }
  if (has_any(function, search, {"client_id", "client_app", "client_agent"})) {
    return has_any(function, search, {"app_id", "app_name", "category_id", "category"});
  }
  return !has_any(function, search, {"app_id", "app_name"}) && has(function, search, "category_id") &&
         has(function, search, "category");
}

std::string condition(const SearchFunction& function, const Search& search) {
  const std::string prefix = function.log->prefix;
  std::string all = "1";
  if (search.type != 0) {
    all += " AND " + prefix + "type IS " + std::to_string(search.type - 1);
  }
  if (function.knows("period") && search.text("date_from") != nullptr) {
    const bool times = search.text("time_from") != nullptr;
    const auto moment = [times](const std::string& date, const std::string& time) {
      return times ? date + " || ' ' || " + time : date;
    };
    all += " AND " + moment(prefix + "date", prefix + "time") + " BETWEEN " +
           moment(quoted(search.text("date_from")), quoted(search.text("time_from"))) + " AND " +
           moment(quoted(search.text("date_to")), quoted(search.text("time_to")));
  }
  if (has(function, search, "user") && *function.log->exact_users != 0) {
    all += " AND " + prefix + "user IS " + quoted(search.text("user"));
  }
  for (const std::string& filter : function.places) {
    const bool worded = filter == "user" && *function.log->exact_users != 0;
    if (filter != "type" && filter != "period" && !worded && has(function, search, filter)) {
      all += reworded(prefix + filter, search, filter);
    }
  }
  return all;
}

Search random_search(const SearchFunction& function, std::mt19937& random) {
  Search search;
  const unsigned rarity = 2 + below(8, random);
  const auto chosen = [&] { return below(rarity, random) == 0; };
  search.type = chosen() ? 1 + below(3, random) : 0;
  const auto put = [&](const char* name, const auto& pool) { search.texts[name] = one_of(pool, random); };
  const auto put_pair = [&](const char* from, const char* to, bool paired, const auto& pool) {
    const bool both = chosen();
    if (both || (!paired && chosen())) {
      put(from, pool);
    }
    if (both || (!paired && chosen())) {
      put(to, pool);
    }
  };
  put_pair("date_from", "date_to", function.pairs_dates, kDates);
  put_pair("time_from", "time_to", function.pairs_times, kTimes);
  for (const std::string& filter : function.places) {
    if (filter == "type" || filter == "period" || !chosen()) {
      continue;
    }
    if (is_number(filter)) {
      search.numbers[filter] = random_number(filter, random);
    } else {
      put(filter.c_str(), kTexts);
    }
  }
  if (function.kind != SearchFunction::kCount) {
    search.sort = below(function.sorts, random);
    if (chosen()) {
      search.start = static_cast<int>(below(5, random));
      search.end = search.start + static_cast<int>(below(5, random));
    }
  }
  if (function.kind == SearchFunction::kGroups) {
    search.group = below(function.log->groupings.size(), random);
  }
  return search;
}

void put_random_entries(const SearchedLog& log, int count, std::mt19937& random) {
  std::string all = "BEGIN;";
  for (int i = 0; i < count; ++i) {
    all += random_entry(log, random);
  }
  sql(log.path, all + "COMMIT;");
}

Search full_search(const SearchFunction& function) {
  Search search;
  search.type = 2;
  for (const std::string& filter : function.places) {
    if (filter == "period") {
      search.texts["date_from"] = "2020-01-01";
      search.texts["date_to"] = "2020-12-31";
      search.texts["time_from"] = "08:00:00";
      search.texts["time_to"] = "17:30:00";
    } else if (is_number(filter)) {
      search.numbers[filter] = filter == "serv" ? 7 : filter == "action" ? 21 : 13;
    } else if (filter != "type") {
      search.texts[filter] = "the " + filter;
    }
  }
  if (function.kind != SearchFunction::kCount) {
    search.sort = 13;
    search.start = 10;
    search.end = 30;
  }
  if (function.kind == SearchFunction::kGroups) {
    search.group = 4;
  }
  return search;
}

}  // namespace annal::test
