// Tests every search and poll that a log lists, against the model and against SQLite.
#include "tests/suites/searches.h"

#include <algorithm>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <ostream>
#include <tuple>

namespace annal::test {

namespace {

// The contexts that a listing has passed to note_context.
std::vector<void*>& contexts() {
  static std::vector<void*> noted;
  return noted;
}

int note_context(void* context, int /*columns*/, char** /*values*/, char** /*names*/) {
  contexts().push_back(context);
  return 0;
}

Calls connection(const std::string& path, SearchFunction::Kind kind, const std::string& text) {
  Calls calls = {"open " + path, "busy_timeout 20000"};
  if (kind == SearchFunction::kCount) {
    calls.push_back("prepare " + text);
    calls.emplace_back("finalize");
  } else {
    calls.push_back("exec " + text);
  }
  calls.emplace_back("close");
  return calls;
}

void put_entries(const SearchedLog& log, int count) {
  sql(log.path, "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(count) +
                    ") INSERT INTO " + log.table + " (" + log.prefix + "id, " + log.prefix +
                    "type) SELECT i, (i - 1) % 3 FROM n;");
}

template <typename Function>
std::vector<Function> without_counts(std::vector<Function> functions) {
  std::erase_if(functions, [](const Function& function) { return function.kind == SearchFunction::kCount; });
  return functions;
}

std::vector<std::string> column(const Rows& rows, std::size_t index) {
  std::vector<std::string> all;
  for (const Row& row : rows) {
    all.push_back(row.at(index));
  }
  return all;
}

std::vector<std::string> sorted(std::vector<std::string> values) {
  std::ranges::sort(values);
  return values;
}

// The number of rows on a page.
std::size_t on_page(std::size_t rows, const Search& search) {
  if (search.start == 0 && search.end == 0) {
    return rows;
  }
  const auto start = static_cast<std::size_t>(search.start);
  const auto end = static_cast<std::size_t>(search.end);
  return std::min(rows, end) - std::min(rows, start);
}

struct Range {
  int start;
  int end;
};

constexpr Range kBadRanges[] = {{5, 4},  {1, 0},   {INT_MAX, 0}, {-1, 0}, {-1, 5},       {-5, -3},
                                {0, -1}, {-1, -1}, {0, -5},      {3, -3}, {INT_MIN, -1}, {INT_MIN, INT_MAX}};

}  // namespace

void PrintTo(const SearchFunction& function, std::ostream* out) {
  *out << function.name;
}

std::string name_of_search(const testing::TestParamInfo<SearchFunction>& tested) {
  return tested.param.name;
}

std::vector<SearchFunction> listing(std::vector<SearchFunction> functions) {
  return without_counts(std::move(functions));
}

void EverySearch::SetUp() {
  ApplianceTest::SetUp();
  *GetParam().log->exact_users = 0;
  GetParam().log->create();
  sqlite.reset();
}

void EverySearch::TearDown() {
  *GetParam().log->exact_users = 0;
  ApplianceTest::TearDown();
}

int EverySearch::call(const Search& search) {
  return GetParam().call(search, &collect, &listing);
}

void EverySearch::expect_statement(const Search& search, const std::string& text) {
  SqliteTrace::reset();
  call(search);
  EXPECT_EQ(sqlite.calls(), connection(GetParam().log->path, GetParam().kind, text));
}

std::string EverySearch::tail(unsigned sort, unsigned group) {
  const SearchFunction& function = GetParam();
  std::string all(function.empty_places, ' ');
  if (function.kind == SearchFunction::kGroups) {
    all += " " + function.log->groupings.at(group);
  }
  if (function.kind != SearchFunction::kCount) {
    all += " " + (sort < function.orders ? function.log->orders.at(sort) : "") + " ";
  }
  return all + ";";
}

std::string EverySearch::without_filters(unsigned sort, unsigned group) {
  return GetParam().begin + std::string(GetParam().places.size(), ' ') + tail(sort, group);
}

std::mt19937 EverySearch::random() {
  return std::mt19937(std::hash<std::string>()(GetParam().name));
}

// ---- the statement ----

TEST_P(EverySearch, LeavesASlotWithoutAFilterEmpty) {
  expect_statement({}, without_filters(0, 0));
}

TEST_P(EverySearch, PutsEachArgumentInItsSlot) {
  const Search search = full_search(GetParam());
  expect_statement(search);
  *GetParam().log->exact_users = 1;
  expect_statement(search);
}

TEST_P(EverySearch, PutsAFilterFirstOrAfterAnother) {
  int known = 0;
  for (const FilterExample& example : GetParam().log->examples) {
    SCOPED_TRACE(example.first);
    if (!GetParam().knows(example.filter)) {
      continue;
    }
    ++known;
    *GetParam().log->exact_users = example.exact_users ? 1 : 0;
    Search search = example.search;
    for (const std::string type : {"", "2"}) {
      search.type = type.empty() ? 0 : 2;
      std::string text = GetParam().begin;
      for (const std::string& place : GetParam().places) {
        text += " ";
        if (place == "type" && !type.empty()) {
          text.append(GetParam().log->type_begin).append("1").append(GetParam().log->type_end);
        } else if (place == example.filter) {
          text += type.empty() ? example.first : example.further;
        }
      }
      expect_statement(search, text + tail(0, 0));
    }
  }
  // One example for each slot except the type's, two for the period and the user.
  EXPECT_EQ(known, GetParam().places.size() == 1 ? 0 : static_cast<int>(GetParam().places.size()) + 1);
}

TEST_P(EverySearch, TakesTypesOneAboveTheStoredOnes) {
  put_entries(*GetParam().log, 5);
  for (unsigned type = 0; type <= 3; ++type) {
    SCOPED_TRACE(type);
    listing = {};
    const std::size_t expected[] = {5, 2, 2, 1};
    const int result = call({.type = type});
    EXPECT_EQ(GetParam().kind == SearchFunction::kCount ? static_cast<std::size_t>(result) : listing.rows.size(),
              expected[type]);
    expect_statement({.type = type});
  }
}

TEST_P(EveryListingSearch, OrdersByEachOfItsCodes) {
  for (unsigned sort = 0; sort < GetParam().sorts; ++sort) {
    SCOPED_TRACE(sort);
    expect_statement({.sort = sort}, without_filters(sort, 0));
  }
}

TEST_P(EveryListingSearch, CutsItsPages) {
  put_entries(*GetParam().log, 40);
  const struct {
    int start;
    int end;
    const char* clause;
    std::size_t rows;
  } pages[] = {
      {0, 0, "", 40},
      {10, 30, "LIMIT 20 OFFSET 10", 20},
      {5, 5, "LIMIT 0 OFFSET 5", 0},
      {0, 1, "LIMIT 1 OFFSET 0", 1},
      {35, 60, "LIMIT 25 OFFSET 35", 5},
      {0, INT_MAX, "LIMIT 2147483647 OFFSET 0", 40},
      {INT_MAX, INT_MAX, "LIMIT 0 OFFSET 2147483647", 0},
  };
  for (const auto& [start, end, clause, rows] : pages) {
    SCOPED_TRACE(clause);
    listing = {};
    EXPECT_EQ(call({.sort = 12, .start = start, .end = end}), ANNAL_OK);
    EXPECT_EQ(listing.rows.size(), rows);
    EXPECT_TRUE(sqlite.statements().back().ends_with(std::string(" ") + clause + ";"));
    if (rows != 0) {
      EXPECT_EQ(listing.rows.front().front(), std::to_string(start + 1));
    }
    expect_statement({.sort = 12, .start = start, .end = end});
  }
}

TEST_P(EveryListingSearch, GroupsByEachOfItsCodes) {
  if (GetParam().kind != SearchFunction::kGroups) {
    return;
  }
  for (unsigned group = 0; group < GetParam().log->groupings.size(); ++group) {
    SCOPED_TRACE(group);
    expect_statement({.group = group}, without_filters(0, group));
  }
}

// ---- what it finds ----

// Compares random searches with the model's statement, and their rows with those of the independent condition.
TEST_P(EverySearch, FindsTheEntriesThatMatchItsFilters) {
  constexpr int kEntries = 40;
  constexpr int kSearches = 800;
  std::mt19937 random = EverySearch::random();
  const SearchedLog& log = *GetParam().log;
  put_random_entries(log, kEntries, random);
  int refusals = 0;
  int finds = 0;
  for (int i = 0; i < kSearches && !HasFailure(); ++i) {
    *log.exact_users = random() % 2 == 0 ? 0 : static_cast<int>(random());
    const Search search = random_search(GetParam(), random);
    const std::string text = statement(GetParam(), search);
    SCOPED_TRACE(text);
    SqliteTrace::reset();
    listing = {};
    const int result = call(search);
    EXPECT_EQ(sqlite.statements(), Calls({text}));
    if (refused(GetParam(), search)) {
      EXPECT_EQ(result, ANNAL_QUERY_FAILED);
      EXPECT_TRUE(listing.rows.empty());
      ++refusals;
      continue;
    }
    const std::string from = std::string(" FROM ") + log.table + " WHERE " + condition(GetParam(), search);
    if (GetParam().kind == SearchFunction::kCount) {
      EXPECT_EQ(std::to_string(result), value(log.path, "SELECT COUNT(*)" + from));
      finds += result != 0 ? 1 : 0;
      continue;
    }
    EXPECT_EQ(result, ANNAL_OK);
    const bool groups = GetParam().kind == SearchFunction::kGroups;
    const Rows all = groups ? sql(log.path, "SELECT COUNT(*)" + from + " " + log.groupings[search.group])
                            : sql(log.path, "SELECT " + std::string(log.prefix) + "id" + from);
    finds += all.empty() ? 0 : 1;
    ASSERT_EQ(listing.rows.size(), on_page(all.size(), search));
    if (!listing.rows.empty()) {
      const std::vector<std::string> expected = sorted(column(all, 0));
      const std::vector<std::string> found = sorted(column(listing.rows, groups ? listing.names.size() - 1 : 0));
      EXPECT_TRUE(std::ranges::includes(expected, found));
    }
  }
  EXPECT_GT(finds, kSearches / 10);
  EXPECT_EQ(refusals > 0, GetParam().knows("category"));
}

// ---- arguments ----

TEST_P(EverySearch, RefusesAnOutOfRangeArgumentBeforeOpeningAnything) {
  std::remove(GetParam().log->path);
  std::vector<Search> bad;
  for (const unsigned type : {4U, 5U, 0x80000000U, UINT_MAX}) {
    bad.push_back({.type = type});
  }
  if (GetParam().kind != SearchFunction::kCount) {
    for (const unsigned sort : {GetParam().sorts, GetParam().sorts + 1, 0x80000000U, UINT_MAX}) {
      bad.push_back({.sort = sort});
    }
    for (const auto& [start, end] : kBadRanges) {
      bad.push_back({.start = start, .end = end});
    }
  }
  if (GetParam().kind == SearchFunction::kGroups) {
    const auto groups = static_cast<unsigned>(GetParam().log->groupings.size());
    for (const unsigned group : {groups, groups + 1, 0x80000000U, UINT_MAX}) {
      bad.push_back({.group = group});
    }
  }
  const struct {
    const char* filter;
    std::vector<int> values;
  } numbers[] = {
      {"serv", {13, 14, INT_MAX}},
      {"action", {37, 38, INT_MAX}},
      {"action_result", {-13, -1, 1, 5, 12, 14, INT_MAX, INT_MIN}},
  };
  for (const auto& [filter, values] : numbers) {
    for (const int number : values) {
      if (GetParam().knows(filter)) {
        bad.push_back({.numbers = {{filter, number}}});
      }
    }
  }
  if (GetParam().pairs_dates) {
    bad.push_back({.texts = {{"date_from", "2020-01-01"}}});
    bad.push_back({.texts = {{"date_to", "2020-01-01"}}});
    bad.push_back({.texts = {{"date_to", "2020-01-01"}, {"time_from", "10:00:00"}, {"time_to", "11:00:00"}}});
  }
  if (GetParam().pairs_times) {
    bad.push_back({.texts = {{"time_from", "10:00:00"}}});
    bad.push_back({.texts = {{"time_to", "10:00:00"}}});
    bad.push_back({.texts = {{"date_from", "1"}, {"date_to", "2"}, {"time_from", "10:00:00"}}});
    bad.push_back({.texts = {{"date_from", "1"}, {"date_to", "2"}, {"time_to", "10:00:00"}}});
  }
  for (const Search& search : bad) {
    SCOPED_TRACE(testing::PrintToString(std::make_tuple(search.type, search.sort, search.group, search.start,
                                                        search.end, search.texts, search.numbers)));
    EXPECT_EQ(call(search), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(sqlite.calls(), Calls());
    EXPECT_FALSE(exists(GetParam().log->path));
    EXPECT_TRUE(listing.rows.empty());
  }
}

TEST_P(EverySearch, AcceptsAnArgumentAtItsBounds) {
  std::vector<Search> good = {{.type = 3}};
  if (GetParam().kind != SearchFunction::kCount) {
    good.push_back({.sort = GetParam().sorts - 1});
    good.push_back({.start = INT_MAX, .end = INT_MAX});
  }
  if (GetParam().kind == SearchFunction::kGroups) {
    good.push_back({.group = static_cast<unsigned>(GetParam().log->groupings.size() - 1)});
  }
  const struct {
    const char* filter;
    std::vector<int> values;
  } numbers[] = {{"serv", {12, 1, -1, INT_MIN}}, {"action", {36, 1, -1, INT_MIN}}, {"action_result", {13, 0}}};
  for (const auto& [filter, values] : numbers) {
    for (const int number : values) {
      if (GetParam().knows(filter)) {
        good.push_back({.numbers = {{filter, number}}});
      }
    }
  }
  for (const Search& search : good) {
    SCOPED_TRACE(statement(GetParam(), search));
    EXPECT_EQ(call(search), 0);
    expect_statement(search);
  }
}

// If half of an unchecked pair is missing, the statement contains SQLite's text for a null pointer.
TEST_P(EverySearch, AcceptsHalfAPairThatItDoesNotCheck) {
  std::vector<Search> halves;
  if (GetParam().knows("period") && !GetParam().pairs_dates) {
    halves.push_back({.texts = {{"date_from", "2020-01-01"}}});
    halves.push_back({.texts = {{"date_to", "2020-01-01"}}});
    halves.push_back({.texts = {{"date_from", "2020-01-01"}, {"time_from", "10:00:00"}}});
    halves.push_back({.texts = {{"date_to", "2020-01-01"}, {"time_from", "10:00:00"}, {"time_to", "11:00:00"}}});
  }
  if (GetParam().knows("period") && !GetParam().pairs_times) {
    halves.push_back({.texts = {{"time_from", "10:00:00"}}});
    halves.push_back({.texts = {{"time_to", "10:00:00"}}});
    halves.push_back({.texts = {{"date_from", "1"}, {"date_to", "2"}, {"time_from", "10:00:00"}}});
    halves.push_back({.texts = {{"date_from", "1"}, {"date_to", "2"}, {"time_to", "10:00:00"}}});
  }
  for (const Search& search : halves) {
    SCOPED_TRACE(statement(GetParam(), search));
    EXPECT_EQ(call(search), 0);
    expect_statement(search);
  }
}

TEST_P(EverySearch, IgnoresTimesWithoutDates) {
  if (!GetParam().knows("period")) {
    return;
  }
  put_entries(*GetParam().log, 3);
  const Search times{.texts = {{"time_from", "00:00:00"}, {"time_to", "00:00:01"}}};
  const int result = call(times);
  EXPECT_EQ(GetParam().kind == SearchFunction::kCount ? static_cast<std::size_t>(result) : listing.rows.size(), 3U);
  expect_statement(times, statement(GetParam(), {}));
}

TEST_P(EverySearch, ReadsAnotherFileOnlyIfItTakesAPath) {
  constexpr const char* kOther = "/etc/logs/other.log";
  put_entries(*GetParam().log, 3);
  sql(GetParam().log->path, std::string("VACUUM INTO '") + kOther + "';");
  sql(GetParam().log->path, std::string("DELETE FROM ") + GetParam().log->table + ";");
  const int result = call({.path = kOther});
  EXPECT_EQ(sqlite.calls().front(), std::string("open ") + (GetParam().takes_path ? kOther : GetParam().log->path));
  EXPECT_EQ(result, 0);
  EXPECT_EQ(listing.rows.size(), GetParam().takes_path ? 3U : 0U);
}

TEST_P(EverySearch, TreatsAnEmptyPathAsAnotherFile) {
  if (GetParam().takes_path) {
    EXPECT_EQ(call({.path = ""}), ANNAL_QUERY_FAILED);
    EXPECT_EQ(sqlite.calls().front(), "open ");
  }
}

// ---- failures ----

TEST_P(EverySearch, FindsNothingInAnEmptyTable) {
  EXPECT_EQ(call(), 0);
  EXPECT_TRUE(listing.rows.empty());
}

TEST_P(EverySearch, FailsWithoutTheTable) {
  sql(GetParam().log->path, std::string("DROP TABLE ") + GetParam().log->table + ";");
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls().back(), "close");
}

TEST_P(EverySearch, FailsOnANonDatabaseFile) {
  std::ofstream(GetParam().log->path, std::ios::trunc) << std::string(4096, 'x');
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
}

TEST_P(EverySearch, FailsWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(call(full_search(GetParam())), ANNAL_OPEN_FAILED);
}

TEST_P(EverySearch, ClosesTheHandleOfAFailedOpen) {
  sqlite.fail("open");
  EXPECT_EQ(call(full_search(GetParam())), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({std::string("open ") + GetParam().log->path, "close"}));
}

TEST_P(EverySearch, ReportsAFailedStatement) {
  put_entries(*GetParam().log, 3);
  const bool counts = GetParam().kind == SearchFunction::kCount;
  for (const char* function : counts ? std::vector<const char*>{"prepare", "step"} : std::vector<const char*>{"exec"}) {
    SCOPED_TRACE(function);
    sqlite.fail(function);
    EXPECT_EQ(call(full_search(GetParam())), ANNAL_QUERY_FAILED);
    EXPECT_EQ(sqlite.calls().back(), "close");
    EXPECT_TRUE(listing.rows.empty());
  }
}

TEST_P(EverySearch, OpensNothingIfAnyOfItsTextsCannotBeBuilt) {
  const Search search = full_search(GetParam());
  std::remove(GetParam().log->path);
  constexpr int kMost = 50;
  int texts = 0;
  for (int nth = 1; nth < kMost; ++nth) {
    SCOPED_TRACE(nth);
    SqliteTrace::reset();
    sqlite.fail("mprintf", nth);
    const int result = call(search);
    EXPECT_EQ(sqlite.live_texts(), 0U);
    if (result == ANNAL_QUERY_FAILED) {  // every text was built, and only the table is missing
      break;
    }
    EXPECT_EQ(result, ANNAL_NO_MEMORY);
    EXPECT_EQ(sqlite.calls(), Calls());
    EXPECT_FALSE(exists(GetParam().log->path));
    texts = nth;
  }
  EXPECT_GE(texts, 1 + static_cast<int>(GetParam().places.size()));
  EXPECT_LT(texts, kMost - 1);
}

// ---- the callback ----

TEST_P(EveryListingSearch, DeliversEveryColumnWithItsName) {
  const SearchedLog& log = *GetParam().log;
  std::mt19937 random = EverySearch::random();
  put_random_entries(log, 1, random);
  Row names = column(sql(log.path, std::string("SELECT name FROM pragma_table_info('") + log.table + "')"), 0);
  Row entry = sql(log.path, std::string("SELECT * FROM ") + log.table).at(0);
  if (GetParam().kind == SearchFunction::kGroups) {
    names.emplace_back("COUNT(*)");
    entry.emplace_back("1");
  }
  EXPECT_EQ(call(), ANNAL_OK);
  EXPECT_EQ(listing.names, names);
  EXPECT_EQ(listing.rows, Rows({entry}));
}

TEST_P(EveryListingSearch, AcceptsANullCallback) {
  put_entries(*GetParam().log, 3);
  EXPECT_EQ(GetParam().call({}, nullptr, nullptr), ANNAL_OK);
}

TEST_P(EveryListingSearch, PassesItsContextUnchanged) {
  put_entries(*GetParam().log, 3);
  contexts().clear();
  int here = 0;
  EXPECT_EQ(GetParam().call({}, &note_context, &here), ANNAL_OK);
  EXPECT_EQ(contexts(), std::vector<void*>(3, &here));
  contexts().clear();
  EXPECT_EQ(GetParam().call({}, &note_context, nullptr), ANNAL_OK);
  EXPECT_EQ(contexts(), std::vector<void*>(3, nullptr));
}

TEST_P(EveryListingSearch, FailsIfItsCallbackStopsIt) {
  put_entries(*GetParam().log, 5);
  int listed = 0;
  EXPECT_EQ(GetParam().call({}, &stop, &listed), ANNAL_QUERY_FAILED);
  EXPECT_EQ(listed, 1);
  listed = 0;
  EXPECT_EQ(GetParam().call({}, &stop_at_third, &listed), ANNAL_QUERY_FAILED);
  EXPECT_EQ(listed, 3);
}

// ---- the polling clients' queries ----

void PrintTo(const PollFunction& function, std::ostream* out) {
  *out << function.name;
}

std::string name_of_poll(const testing::TestParamInfo<PollFunction>& tested) {
  return tested.param.name;
}

std::vector<PollFunction> listing(std::vector<PollFunction> functions) {
  return without_counts(std::move(functions));
}

namespace {

constexpr unsigned kPollSorts = 26;

// The statement's own WHERE with these levels: "where (event_type =0 )".
std::string clause(const PollFunction& function, const std::vector<int>& levels) {
  std::string all = function.where;
  for (std::size_t i = 0; i < levels.size(); ++i) {
    all += std::string(i == 0 ? "(" : " or (") + function.log->prefix + "type =" + std::to_string(levels[i]) + " )";
  }
  return all;
}

}  // namespace

// A time zone that differs from UTC and has no summer time: texts in an hour that occurs twice have no order.
void EveryPoll::SetUp() {
  ApplianceTest::SetUp();
  zone_ = getenv("TZ");
  setenv("TZ", "FIX-5", 1);
  tzset();
  GetParam().log->create();
  sqlite.reset();
}

void EveryPoll::TearDown() {
  setenv("TZ", zone_.c_str(), 1);
  tzset();
  ApplianceTest::TearDown();
}

int EveryPoll::call(const Poll& poll) {
  return GetParam().call(poll, &collect, &listing);
}

void EveryPoll::put_entry(int seconds_from_now, int type) {
  const std::string moment = "strftime('%s','now') + " + std::to_string(seconds_from_now);
  const std::string prefix = GetParam().log->prefix;
  sql(GetParam().log->path, std::string("INSERT INTO ") + GetParam().log->table + " (" + prefix + "type, " + prefix +
                                "date, " + prefix + "time, " + prefix + "user) VALUES (" + std::to_string(type) +
                                ", date(" + moment + ", 'unixepoch', 'localtime'), time(" + moment +
                                ", 'unixepoch', 'localtime'), 'ann');");
}

int EveryPoll::found(const Poll& poll) {
  listing = {};
  const int result = call(poll);
  switch (GetParam().kind) {
    case SearchFunction::kCount:
      return result;
    case SearchFunction::kListing:
      return result == ANNAL_OK ? static_cast<int>(listing.rows.size()) : result;
    default:
      int sum = 0;
      for (const Row& row : listing.rows) {
        sum += std::stoi(row.back());
      }
      return result == ANNAL_OK ? sum : result;
  }
}

std::string EveryPoll::text(const std::string& levels, const Poll& poll) const {
  const std::map<char, std::string> slots = {
      {'W', levels},
      {'T', poll.client_time},
      {'D', std::to_string(poll.days)},
      {'G', GetParam().log->groupings.at(poll.group)},
      {'X', poll.group_text},
      {'O', poll.sort < GetParam().orders ? GetParam().log->orders.at(poll.sort) : ""},
      {'P', page(poll.start, poll.end)},
  };
  std::string all;
  for (const char* next = GetParam().statement; *next != '\0'; ++next) {
    const auto slot = *next == '%' ? slots.find(next[1]) : slots.end();
    if (slot == slots.end()) {
      all += *next;
    } else {
      all += slot->second;
      ++next;
    }
  }
  return all;
}

void EveryPoll::expect_statement(const std::string& levels, const Poll& poll) {
  SqliteTrace::reset();
  call(poll);
  EXPECT_EQ(sqlite.calls(), connection(GetParam().log->path, GetParam().kind, text(levels, poll)));
}

TEST_P(EveryPoll, PutsEachArgumentInItsSlot) {
  expect_statement(clause(GetParam(), {2, 0}), {.levels = "2,0",
                                                .client_time = "1600000000",
                                                .days = 17,
                                                .start = 10,
                                                .end = 30,
                                                .sort = 13,
                                                .group = 5,
                                                .group_text = "GROUP BY 1, 'x'"});
}

TEST_P(EveryPoll, ReadsItsLevels) {
  const struct {
    std::string list;
    std::vector<int> levels;
  } lists[] = {
      {"0", {0}},
      {"1", {1}},
      {"2", {2}},
      {"2,0", {2, 0}},
      {"0,1,2", {0, 1, 2}},
      {"0,1,2,3", {0, 1, 2}},
      {"0,1,2,1", {0, 1, 2}},
      {"1,1", {1, 1}},
      {"7,1", {1}},
      {"7,8,9,1", {}},
      {"3", {}},
      {"7", {}},
      {"", {}},
      {",", {}},
      {"-1", {}},
      {"-1,2", {2}},
      {" 1", {1}},
      {"1x", {1}},
      {"1 ,\t2", {1, 2}},
      {"+2", {2}},
      {"010", {}},
      {"0x1", {0}},
      {std::string(62, '0') + "2", {2}},              // 63 characters
      {std::string(63, '0') + "2", {0}},              // the 64th is not read
      {"1," + std::string(60, '0') + "2,0", {1, 2}},  // nor is what follows it
      {std::string(60, '0') + ",1,2", {0, 1}},        // the second item ends at the 63rd
      {"2" + std::string(1000, ','), {2}},
      {std::string(1000, '9'), {}},
  };
  for (const auto& [list, levels] : lists) {
    SCOPED_TRACE(list);
    const Poll poll{.levels = list.c_str()};
    SqliteTrace::reset();
    EXPECT_EQ(call(poll) < 0, levels.empty());
    EXPECT_EQ(sqlite.statements(), Calls({text(clause(GetParam(), levels), poll)}));
  }
}

TEST_P(EveryPoll, FailsWithoutAValidLevel) {
  put_entry(0);
  for (const char* list : {"7", "", "-1", ",,", "3,4,5,0"}) {
    SCOPED_TRACE(list);
    EXPECT_EQ(call({.levels = list}), ANNAL_QUERY_FAILED);
    EXPECT_TRUE(listing.rows.empty());
  }
}

TEST_P(EveryPoll, FindsEntriesOfItsLevelsOnly) {
  for (const int type : {0, 1, 1, 2, 2, 2, 2}) {
    put_entry(-100, type);
  }
  EXPECT_EQ(found({.levels = "0"}), 1);
  EXPECT_EQ(found({.levels = "1"}), 2);
  EXPECT_EQ(found({.levels = "2"}), 4);
  EXPECT_EQ(found({.levels = "2,0"}), 5);
  EXPECT_EQ(found({.levels = "0,1,2"}), 7);
}

TEST_P(EveryPoll, FindsEntriesSinceTheClientsTime) {
  put_entry(-3000);
  put_entry(-2000);
  put_entry(-1000);
  const auto ago = [](int seconds) { return std::to_string(std::time(nullptr) - seconds); };
  EXPECT_EQ(found({.client_time = "0"}), 3);
  EXPECT_EQ(found({.client_time = ago(2500).c_str()}), 2);
  EXPECT_EQ(found({.client_time = ago(1500).c_str()}), 1);
  EXPECT_EQ(found({.client_time = ago(500).c_str()}), 0);
}

TEST_P(EveryPoll, FindsAnEntryStampedWithTheClientsTimeItself) {
  const std::string prefix = GetParam().log->prefix;
  const std::string moment = std::to_string(std::time(nullptr) - 600);
  sql(GetParam().log->path, std::string("INSERT INTO ") + GetParam().log->table + " (" + prefix + "type, " + prefix +
                                "date, " + prefix + "time) VALUES (0, date(" + moment +
                                ", 'unixepoch', 'localtime'), time(" + moment + ", 'unixepoch', 'localtime'));");
  EXPECT_EQ(found({.client_time = moment.c_str()}), 1);
  EXPECT_EQ(found({.client_time = std::to_string(std::stol(moment) + 1).c_str()}), 0);
}

TEST_P(EveryPoll, FindsEntriesOfItsDaysOnly) {
  constexpr int kDay = 86400;
  put_entry(-100);
  put_entry(-kDay - 100);
  put_entry(-30 * kDay - 100);
  EXPECT_EQ(found({.days = 0}), 0);
  EXPECT_EQ(found({.days = 1}), 1);
  EXPECT_EQ(found({.days = 2}), 2);
  EXPECT_EQ(found({.days = 30}), 2);
  EXPECT_EQ(found({.days = 31}), 3);
  EXPECT_EQ(found({.days = 10000}), 3);
}

TEST_P(EveryPoll, AcceptsAnyNonnegativeDays) {
  for (const int days : {0, 1, INT_MAX}) {
    SCOPED_TRACE(days);
    EXPECT_GE(found({.days = days}), 0);
    expect_statement(clause(GetParam(), {0, 1, 2}), {.days = days});
  }
}

// A listing shows entries stamped by a wrong clock; a count or group would count them again at every poll.
TEST_P(EveryPoll, IncludesFutureEntriesOnlyInItsListing) {
  put_entry(3600);
  EXPECT_EQ(found({}), GetParam().kind == SearchFunction::kListing ? 1 : 0);
  EXPECT_EQ(found({.days = 0}), GetParam().kind == SearchFunction::kListing ? 1 : 0);
  put_entry(-100);
  EXPECT_EQ(found({}), GetParam().kind == SearchFunction::kListing ? 2 : 1);
}

TEST_P(EveryPoll, EscapesTheClientsTimeButReadsItAsAnExpression) {
  put_entry(-100);
  SqliteTrace::reset();
  EXPECT_EQ(call({.client_time = "it's"}), ANNAL_QUERY_FAILED);
  ASSERT_EQ(sqlite.statements().size(), 1U);
  EXPECT_NE(sqlite.statements()[0].find("datetime(it''s , 'unixepoch'"), std::string::npos);
  EXPECT_EQ(found({.client_time = "100 - 100"}), 1);
  EXPECT_EQ(call({.client_time = ""}), ANNAL_QUERY_FAILED);
}

TEST_P(EveryPoll, RefusesAnOutOfRangeArgumentBeforeOpeningAnything) {
  std::remove(GetParam().log->path);
  std::vector<Poll> bad = {
      {.levels = nullptr},
      {.client_time = nullptr},
      {.days = -1},
      {.days = INT_MIN},
  };
  if (GetParam().kind != SearchFunction::kCount) {
    for (const unsigned sort : {26U, 27U, 0x80000000U, UINT_MAX}) {
      bad.push_back({.sort = sort});
    }
    for (const auto& [start, end] : kBadRanges) {
      bad.push_back({.start = start, .end = end});
    }
  }
  for (std::size_t i = 0; i < bad.size(); ++i) {
    SCOPED_TRACE(i);
    EXPECT_EQ(call(bad[i]), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(sqlite.calls(), Calls());
    EXPECT_FALSE(exists(GetParam().log->path));
  }
}

TEST_P(EveryPoll, ReportsItsFailures) {
  sqlite.fail("open");
  EXPECT_EQ(call({}), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({std::string("open ") + GetParam().log->path, "close"}));
  const bool counts = GetParam().kind == SearchFunction::kCount;
  for (const char* function : counts ? std::vector<const char*>{"prepare", "step"} : std::vector<const char*>{"exec"}) {
    SCOPED_TRACE(function);
    sqlite.fail(function);
    EXPECT_EQ(call({}), ANNAL_QUERY_FAILED);
    EXPECT_EQ(sqlite.calls().back(), "close");
  }
  sql(GetParam().log->path, std::string("DROP TABLE ") + GetParam().log->table + ";");
  EXPECT_EQ(call({}), ANNAL_QUERY_FAILED);
  remove_log_folder();
  EXPECT_EQ(call({}), ANNAL_OPEN_FAILED);
}

TEST_P(EveryPoll, OpensNothingIfItsStatementCannotBeBuilt) {
  std::remove(GetParam().log->path);
  sqlite.fail("mprintf");
  EXPECT_EQ(call({}), ANNAL_NO_MEMORY);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(GetParam().log->path));
}

TEST_P(EveryPoll, FindsNothingInAnEmptyTable) {
  EXPECT_EQ(found({}), 0);
}

TEST_P(EveryListingPoll, OrdersByEachOfItsCodes) {
  for (unsigned sort = 0; sort < kPollSorts; ++sort) {
    SCOPED_TRACE(sort);
    EXPECT_EQ(call({.sort = sort}), ANNAL_OK);
    expect_statement(clause(GetParam(), {0, 1, 2}), {.sort = sort});
  }
}

TEST_P(EveryListingPoll, CutsItsPages) {
  for (const auto& [start, end] : {Range{0, 0}, {10, 30}, {5, 5}, {0, 1}, {0, INT_MAX}, {INT_MAX, INT_MAX}}) {
    SCOPED_TRACE(end);
    EXPECT_EQ(call({.start = start, .end = end}), ANNAL_OK);
    expect_statement(clause(GetParam(), {0, 1, 2}), {.start = start, .end = end});
  }
}

TEST_P(EveryListingPoll, PassesRowsAndContextToItsCallback) {
  put_entry(-100);
  contexts().clear();
  int here = 0;
  EXPECT_EQ(GetParam().call({}, &note_context, &here), ANNAL_OK);
  EXPECT_EQ(GetParam().call({}, &note_context, nullptr), ANNAL_OK);
  EXPECT_EQ(contexts(), std::vector<void*>({&here, nullptr}));
  EXPECT_EQ(GetParam().call({}, nullptr, nullptr), ANNAL_OK);
  int listed = 0;
  EXPECT_EQ(GetParam().call({}, &stop, &listed), ANNAL_QUERY_FAILED);
  EXPECT_EQ(listed, 1);
}

}  // namespace annal::test
