// Lists, groups and counts events.
#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/support/appliance.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLog = "/etc/logs/event.log";

// ---- the statements ----

std::string listing_text(const std::string& where, const std::string& order, const std::string& limit) {
  return "SELECT event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, "
         "event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id, "
         "event_client_app, event_client_agent  FROM ANNAL_EVENT " +
         where + " " + order + " " + limit + ";";
}

std::string group_text(const std::string& where, const std::string& group, const std::string& order,
                       const std::string& limit) {
  return "SELECT event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, "
         "event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id, "
         "event_client_app, event_client_agent  , COUNT(*) FROM ANNAL_EVENT " +
         where + " " + group + " " + order + " " + limit + ";";
}

std::string count_text(const std::string& where) {
  return "SELECT COUNT(*) FROM ANNAL_EVENT " + where + ";";
}

Calls calls_of(const std::string& statement) {
  return {"open /etc/logs/event.log", "busy_timeout 20000", "exec " + statement, "close"};
}

// ---- helpers ----

// Entries 1 to count, of the types 0, 1, 2, 0, 1, 2 and so on.
void put_entries(int count) {
  sql(kLog, "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(count) +
                ") INSERT INTO ANNAL_EVENT (event_id, event_type) SELECT i, (i - 1) % 3 FROM n;");
}

// A log with an empty table.
class EventQuery : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
    sqlite.reset();
  }

  Listing listing;
};

// ---- what the three queries have in common ----

struct Query {
  const char* name;
  int (*call)(Listing* listing);
  const char* function;  // the function that runs the statement
};

void PrintTo(const Query& query, std::ostream* out) {
  *out << query.name;
}

class EveryEventQuery : public EventQuery, public testing::WithParamInterface<Query> {
 protected:
  int call() { return GetParam().call(&listing); }
};

INSTANTIATE_TEST_SUITE_P(
    Of, EveryEventQuery,
    testing::Values(
        Query{"Listing", [](Listing* listing) { return annal_event_query(&collect, 0, 0, 0, 0, listing); }, "exec"},
        Query{"Groups", [](Listing* listing) { return annal_event_query_group(&collect, 0, 0, 0, 0, 0, listing); },
              "exec"},
        Query{"Count", [](Listing* /*listing*/) { return annal_event_query_count(0); }, "prepare"}),
    [](const auto& tested) { return tested.param.name; });

TEST_P(EveryEventQuery, FindsNothingInAnEmptyTable) {
  EXPECT_EQ(call(), 0);
  EXPECT_TRUE(listing.rows.empty());
}

TEST_P(EveryEventQuery, FailsWithoutTheTable) {
  sql(kLog, "DROP TABLE ANNAL_EVENT;");
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
}

TEST_P(EveryEventQuery, FailsOnANonDatabaseFile) {
  std::ofstream(kLog, std::ios::trunc) << std::string(4096, 'x');
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
}

TEST_P(EveryEventQuery, FailsWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(call(), ANNAL_OPEN_FAILED);
}

TEST_P(EveryEventQuery, ClosesTheHandleOfAFailedOpen) {
  sqlite.fail("open");
  EXPECT_EQ(call(), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "close"}));
}

TEST_P(EveryEventQuery, ReportsAFailedStatement) {
  put_entries(3);
  sqlite.fail(GetParam().function);
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls().back(), "close");
}

TEST_P(EveryEventQuery, OpensNothingIfItsStatementCannotBeBuilt) {
  std::remove(kLog);
  sqlite.fail("mprintf");
  EXPECT_EQ(call(), ANNAL_NO_MEMORY);
  EXPECT_TRUE(sqlite.calls().empty());
  EXPECT_FALSE(exists(kLog));
}

TEST_P(EveryEventQuery, WaitsForALock) {
  const LockHolder lock(kLog, 250ms);
  EXPECT_EQ(call(), 0);
}

// ---- sort codes ----

struct Sort {
  unsigned code;
  const char* clause;
  const char* order;  // the order of the three entries below
};

constexpr Sort kSorts[] = {
    {0, "ORDER BY event_date, event_time", "2,3,1"},
    {1, "ORDER BY event_date DESC, event_time DESC", "1,3,2"},
    {2, "ORDER BY event_time, event_date", "3,2,1"},
    {3, "ORDER BY event_time DESC, event_date DESC", "1,2,3"},
    {4, "ORDER BY event_type", "3,1,2"},
    {5, "ORDER BY event_type DESC", "2,1,3"},
    {6, "ORDER BY event_user", "2,1,3"},
    {7, "ORDER BY event_user DESC", "3,1,2"},
    {8, "ORDER BY event_ip", "1,3,2"},
    {9, "ORDER BY event_ip DESC", "2,3,1"},
    {10, "ORDER BY event_comp", "2,3,1"},
    {11, "ORDER BY event_comp DESC", "1,3,2"},
    {12, "ORDER BY event_id", "1,2,3"},
    {13, "ORDER BY event_id DESC", "3,2,1"},
    {14, "ORDER BY event_msgid", "3,1,2"},
    {15, "ORDER BY event_msgid DESC", "2,1,3"},
    {16, "ORDER BY event_timet", "2,1,3"},
    {17, "ORDER BY event_timet DESC", "3,1,2"},
    {18, "", "1,2,3"},
    {19, "", "1,2,3"},
    {20, "", "1,2,3"},
    {21, "", "1,2,3"},
    {22, "", "1,2,3"},
    {23, "", "1,2,3"},
    {24, "", "1,2,3"},
    {25, "", "1,2,3"},
};

void PrintTo(const Sort& sort, std::ostream* out) {
  *out << sort.code;
}

class EventSort : public EventQuery, public testing::WithParamInterface<Sort> {
 protected:
  void SetUp() override {
    EventQuery::SetUp();
    sql(kLog,
        "INSERT INTO ANNAL_EVENT (event_id, event_date, event_time, event_type, event_user, event_ip, "
        "event_comp, event_msgid, event_timet) VALUES "
        "(1, '2020-01-02', '09:00:00', 1, 'bob', '10.0.0.1', 'c', 'm2', 30), "
        "(2, '2020-01-01', '09:00:00', 2, 'ann', '10.0.0.3', 'a', 'm3', 20), "
        "(3, '2020-01-02', '08:00:00', 0, 'cat', '10.0.0.2', 'b', 'm1', 100);");
  }
};

INSTANTIATE_TEST_SUITE_P(Code, EventSort, testing::ValuesIn(kSorts),
                         [](const auto& tested) { return std::to_string(tested.param.code); });

TEST_P(EventSort, OrdersAListing) {
  EXPECT_EQ(annal_event_query(&collect, GetParam().code, 0, 0, 0, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of(listing_text("", GetParam().clause, "")));
  EXPECT_EQ(ids(listing), GetParam().order);
}

TEST_P(EventSort, OrdersGroups) {
  EXPECT_EQ(annal_event_query_group(&collect, GetParam().code, 0, 0, 0, 0, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of(group_text("", "GROUP BY event_id", GetParam().clause, "")));
  EXPECT_EQ(ids(listing), GetParam().order);
}

// ---- types ----

struct TypeFilter {
  unsigned code;
  const char* clause;
  const char* found;  // the result for six entries
};

constexpr TypeFilter kTypeFilters[] = {
    {0, "", "1,2,3,4,5,6"},
    {1, "WHERE event_type = 0", "1,4"},
    {2, "WHERE event_type = 1", "2,5"},
    {3, "WHERE event_type = 2", "3,6"},
};

void PrintTo(const TypeFilter& filter, std::ostream* out) {
  *out << filter.code;
}

class EventTypeFilter : public EventQuery, public testing::WithParamInterface<TypeFilter> {
 protected:
  void SetUp() override {
    EventQuery::SetUp();
    put_entries(6);
  }
};

INSTANTIATE_TEST_SUITE_P(Code, EventTypeFilter, testing::ValuesIn(kTypeFilters),
                         [](const auto& tested) { return std::to_string(tested.param.code); });

TEST_P(EventTypeFilter, NarrowsAListing) {
  EXPECT_EQ(annal_event_query(&collect, 12, 0, 0, GetParam().code, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of(listing_text(GetParam().clause, "ORDER BY event_id", "")));
  EXPECT_EQ(ids(listing), GetParam().found);
}

TEST_P(EventTypeFilter, NarrowsGroups) {
  EXPECT_EQ(annal_event_query_group(&collect, 12, 0, 0, GetParam().code, 0, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of(group_text(GetParam().clause, "GROUP BY event_id", "ORDER BY event_id", "")));
  EXPECT_EQ(ids(listing), GetParam().found);
}

TEST_P(EventTypeFilter, NarrowsACount) {
  EXPECT_EQ(annal_event_query_count(GetParam().code), GetParam().code == 0 ? 6 : 2);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "busy_timeout 20000",
                                   "prepare " + count_text(GetParam().clause), "finalize", "close"}));
}

// ---- pages ----

struct Page {
  const char* name;
  int start;
  int end;
  const char* clause;
  int first;  // the first of 40 entries; one past the last for none
  int last;
};

constexpr Page kPages[] = {
    {"All", 0, 0, "", 1, 40},
    {"FirstRow", 0, 1, "LIMIT 1 OFFSET 0", 1, 1},
    {"SecondRow", 1, 2, "LIMIT 1 OFFSET 1", 2, 2},
    {"TwentyBeginningWithTheEleventh", 10, 30, "LIMIT 20 OFFSET 10", 11, 30},
    {"EmptyPage", 5, 5, "LIMIT 0 OFFSET 5", 1, 0},
    {"OtherEmptyPage", 7, 7, "LIMIT 0 OFFSET 7", 1, 0},
    {"OverTheEnd", 35, 60, "LIMIT 25 OFFSET 35", 36, 40},
    {"BehindTheEnd", 40, 50, "LIMIT 10 OFFSET 40", 1, 0},
    {"Widest", 0, INT_MAX, "LIMIT 2147483647 OFFSET 0", 1, 40},
    {"Furthest", INT_MAX, INT_MAX, "LIMIT 0 OFFSET 2147483647", 1, 0},
    {"LastOfAll", INT_MAX - 1, INT_MAX, "LIMIT 1 OFFSET 2147483646", 1, 0},
};

void PrintTo(const Page& page, std::ostream* out) {
  *out << page.name;
}

class EventPage : public EventQuery, public testing::WithParamInterface<Page> {
 protected:
  void SetUp() override {
    EventQuery::SetUp();
    put_entries(40);
  }
};

INSTANTIATE_TEST_SUITE_P(Of, EventPage, testing::ValuesIn(kPages),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(EventPage, CutsAListing) {
  EXPECT_EQ(annal_event_query(&collect, 12, GetParam().start, GetParam().end, 0, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of(listing_text("", "ORDER BY event_id", GetParam().clause)));
  EXPECT_EQ(ids(listing), ids_between(GetParam().first, GetParam().last));
}

TEST_P(EventPage, CutsGroups) {
  EXPECT_EQ(annal_event_query_group(&collect, 12, GetParam().start, GetParam().end, 0, 0, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of(group_text("", "GROUP BY event_id", "ORDER BY event_id", GetParam().clause)));
  EXPECT_EQ(ids(listing), ids_between(GetParam().first, GetParam().last));
}

// ---- groups ----

struct Grouping {
  unsigned code;
  const char* clause;
  std::size_t groups;  // for the nine entries below
  const char* sizes;   // largest first
};

constexpr Grouping kGroupings[] = {
    {0, "GROUP BY event_id", 9, "1,1,1,1,1,1,1,1,1"},
    {1, "GROUP BY event_type", 2, "8,1"},
    {2, "GROUP BY event_type,event_date", 3, "4,4,1"},
    {3, "GROUP BY event_type,event_time", 4, "3,3,2,1"},
    {4, "GROUP BY event_type,event_user", 5, "2,2,2,2,1"},
    {5, "GROUP BY event_type,event_ip", 6, "2,2,2,1,1,1"},
    {6, "GROUP BY event_type,event_comp", 7, "2,2,1,1,1,1,1"},
    {7, "GROUP BY event_type,event_desc", 8, "2,1,1,1,1,1,1,1"},
    {8, "GROUP BY event_type,event_desc", 8, "2,1,1,1,1,1,1,1"},
    {9, "GROUP BY event_type,event_desc", 8, "2,1,1,1,1,1,1,1"},
};

void PrintTo(const Grouping& grouping, std::ostream* out) {
  *out << grouping.code;
}

class EventGrouping : public EventQuery, public testing::WithParamInterface<Grouping> {
 protected:
  // Eight entries of type 0, with two dates, three times, four users and so on, and one of type 1 that otherwise equals
  // the first.
  void SetUp() override {
    EventQuery::SetUp();
    sql(kLog,
        "WITH n(i) AS (VALUES(0) UNION ALL SELECT i + 1 FROM n WHERE i < 7) "
        "INSERT INTO ANNAL_EVENT "
        "(event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc) "
        "SELECT 0, i % 2, i % 3, i % 4, i % 5, i % 6, i % 7 FROM n; "
        "INSERT INTO ANNAL_EVENT "
        "(event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc) "
        "VALUES (1, '0', '0', '0', '0', '0', '0');");
  }
};

INSTANTIATE_TEST_SUITE_P(Code, EventGrouping, testing::ValuesIn(kGroupings),
                         [](const auto& tested) { return std::to_string(tested.param.code); });

TEST_P(EventGrouping, MakesItsGroupsAndCountsThem) {
  EXPECT_EQ(annal_event_query_group(&collect, 25, 0, 0, 0, GetParam().code, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of(group_text("", GetParam().clause, "", "")));
  EXPECT_EQ(listing.rows.size(), GetParam().groups);
  std::vector<std::string> sizes;
  for (const Row& row : listing.rows) {
    sizes.push_back(row.at(17));
  }
  std::sort(sizes.rbegin(), sizes.rend());
  std::string all;
  for (const std::string& size : sizes) {
    all += (all.empty() ? "" : ",") + size;
  }
  EXPECT_EQ(all, GetParam().sizes);
}

TEST_P(EventGrouping, IsPlacedBetweenTheOtherClauses) {
  EXPECT_EQ(annal_event_query_group(&collect, 13, 10, 30, 2, GetParam().code, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of(group_text("WHERE event_type = 1", GetParam().clause, "ORDER BY event_id DESC",
                                                "LIMIT 20 OFFSET 10")));
}

TEST_F(EventQuery, JoinsAllClausesOfAListingInOrder) {
  EXPECT_EQ(annal_event_query(&collect, 13, 10, 30, 3, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(),
            calls_of(listing_text("WHERE event_type = 2", "ORDER BY event_id DESC", "LIMIT 20 OFFSET 10")));
}

TEST_F(EventQuery, CountsTheEntriesOfAGroupWithinTheTypeOnly) {
  put_entries(7);
  EXPECT_EQ(annal_event_query_group(&collect, 4, 0, 0, 0, 1, &listing), ANNAL_OK);
  ASSERT_EQ(listing.rows.size(), 3U);
  EXPECT_EQ(listing.rows[0][17], "3");
  EXPECT_EQ(listing.rows[1][17], "2");
  EXPECT_EQ(listing.rows[2][17], "2");
}

// ---- what the callback gets ----

const Row& columns_of_a_listing() {
  static const Row names = {"event_id",          "event_type",     "event_date",      "event_time",
                            "event_user",        "event_ip",       "event_comp",      "event_desc",
                            "event_msgid",       "event_timet",    "event_app_id",    "event_app_name",
                            "event_category_id", "event_category", "event_client_id", "event_client_app",
                            "event_client_agent"};
  return names;
}

void put_full_entry() {
  sql(kLog,
      "INSERT INTO ANNAL_EVENT VALUES (4, 2, '2020-01-02', '10:00:00', 'ann', '10.0.0.1', 'one', 'Fan failed.', "
      "'m1', 1600000000, 'A1', 'App', 'C1', 'Cat', 'id', 'client', 'agent');");
}

const Row& full_entry() {
  static const Row entry = {"4",   "2",           "2020-01-02", "10:00:00",   "ann",  "10.0.0.1",
                            "one", "Fan failed.", "m1",         "1600000000", "A1",   "App",
                            "C1",  "Cat",         "id",         "client",     "agent"};
  return entry;
}

TEST_F(EventQuery, ListsSeventeenColumns) {
  put_full_entry();
  EXPECT_EQ(annal_event_query(&collect, 0, 0, 0, 0, &listing), ANNAL_OK);
  EXPECT_EQ(listing.names, columns_of_a_listing());
  EXPECT_EQ(listing.rows, Rows({full_entry()}));
}

TEST_F(EventQuery, ListsGroupsWithTheirSizeAsTheEighteenthColumn) {
  put_full_entry();
  Row names = columns_of_a_listing();
  names.emplace_back("COUNT(*)");
  Row entry = full_entry();
  entry.emplace_back("1");
  EXPECT_EQ(annal_event_query_group(&collect, 0, 0, 0, 0, 0, &listing), ANNAL_OK);
  EXPECT_EQ(listing.names, names);
  EXPECT_EQ(listing.rows, Rows({entry}));
}

TEST_F(EventQuery, DeliversNullAsANullPointer) {
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_id) VALUES (1);");
  EXPECT_EQ(annal_event_query(&collect, 0, 0, 0, 0, &listing), ANNAL_OK);
  ASSERT_EQ(listing.rows.size(), 1U);
  EXPECT_EQ(listing.rows[0][1], "NULL");
}

TEST_F(EventQuery, ListsAMigratedTableInTheSameOrder) {
  sql(kLog,
      "DROP TABLE ANNAL_EVENT; CREATE TABLE ANNAL_EVENT (event_client_agent, event_client_app, event_client_id, "
      "event_category, event_category_id, event_app_name, event_app_id, event_timet, event_msgid, event_desc, "
      "event_comp, event_ip, event_user, event_time, event_date, event_type, event_id);");
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_id, event_client_agent) VALUES (1, 'agent');");
  EXPECT_EQ(annal_event_query(&collect, 0, 0, 0, 0, &listing), ANNAL_OK);
  EXPECT_EQ(listing.names, columns_of_a_listing());
  EXPECT_EQ(listing.rows.at(0).at(16), "agent");
}

TEST_F(EventQuery, PassesItsContextUnchanged) {
  put_entries(5);
  int listed = 100;
  EXPECT_EQ(annal_event_query(&count_rows, 0, 0, 0, 0, &listed), ANNAL_OK);
  EXPECT_EQ(listed, 105);
  EXPECT_EQ(annal_event_query_group(&count_rows, 0, 0, 0, 0, 1, &listed), ANNAL_OK);
  EXPECT_EQ(listed, 108);
}

TEST_F(EventQuery, PassesANullContext) {
  put_entries(1);
  static bool was_null;
  was_null = false;
  const annal_row_callback note = [](void* context, int, char**, char**) {
    was_null = context == nullptr;
    return 0;
  };
  EXPECT_EQ(annal_event_query(note, 0, 0, 0, 0, nullptr), ANNAL_OK);
  EXPECT_TRUE(was_null);
  was_null = false;
  EXPECT_EQ(annal_event_query_group(note, 0, 0, 0, 0, 0, nullptr), ANNAL_OK);
  EXPECT_TRUE(was_null);
}

TEST_F(EventQuery, AcceptsANullCallback) {
  put_entries(3);
  EXPECT_EQ(annal_event_query(nullptr, 0, 0, 0, 0, nullptr), ANNAL_OK);
  EXPECT_EQ(annal_event_query_group(nullptr, 0, 0, 0, 0, 0, nullptr), ANNAL_OK);
}

TEST_F(EventQuery, FailsIfItsCallbackStopsIt) {
  put_entries(5);
  int listed = 0;
  EXPECT_EQ(annal_event_query(&stop, 0, 0, 0, 0, &listed), ANNAL_QUERY_FAILED);
  EXPECT_EQ(listed, 1);
  EXPECT_EQ(annal_event_query_group(&stop, 0, 0, 0, 0, 0, &listed), ANNAL_QUERY_FAILED);
  EXPECT_EQ(listed, 2);
}

TEST_F(EventQuery, DeliversTheRowsBeforeTheStop) {
  put_entries(5);
  int listed = 0;
  EXPECT_EQ(annal_event_query(&stop_at_third, 0, 0, 0, 0, &listed), ANNAL_QUERY_FAILED);
  EXPECT_EQ(listed, 3);
}

TEST_F(EventQuery, LetsItsCallbackCallTheLibrary) {
  put_entries(5);
  int counted = 0;
  const annal_row_callback count = [](void* context, int, char**, char**) {
    *static_cast<int*>(context) = annal_event_query_count(0);
    return 0;
  };
  EXPECT_EQ(annal_event_query(count, 0, 0, 0, 0, &counted), ANNAL_OK);
  EXPECT_EQ(counted, 5);
}

// ---- counts ----

TEST_F(EventQuery, CountsEveryEntry) {
  put_entries(1000);
  EXPECT_EQ(annal_event_query_count(0), 1000);
  EXPECT_EQ(annal_event_query_count(1), 334);
  EXPECT_EQ(annal_event_query_count(3), 333);
}

// The searching counts treat it as a failure; this one returns what it reads.
TEST_F(EventQuery, ReturnsANegativeCount) {
  put_entries(3);
  sqlite.answer_next(-7);
  EXPECT_EQ(annal_event_query_count(0), -7);
  const auto search_ex = [] {
    return annal_event_query_count_ex(/* type= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                      /* user= */ nullptr, /* ip= */ nullptr, /* comp= */ nullptr, /* desc= */ nullptr,
                                      /* time_from= */ nullptr, /* time_to= */ nullptr);
  };
  const auto search_ex3 = [] {
    return annal_event_query_count_ex3(
        /* type= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr, /* user= */ nullptr, /* ip= */ nullptr,
        /* comp= */ nullptr, /* desc= */ nullptr, /* time_from= */ nullptr, /* time_to= */ nullptr,
        /* app_id= */ nullptr, /* app_name= */ nullptr, /* category_id= */ nullptr, /* category= */ nullptr,
        /* client_id= */ nullptr, /* client_app= */ nullptr, /* client_agent= */ nullptr);
  };
  const auto poll = [] { return annal_event_query_byclientTime_count_ex("0,1,2", "0", 30000); };
  for (int (*const count)() : {+search_ex, +search_ex3, +poll}) {
    sqlite.answer_next(-7);
    EXPECT_EQ(count(), ANNAL_QUERY_FAILED);
    sqlite.answer_next(0);
    EXPECT_EQ(count(), 0);
  }
}

TEST_F(EventQuery, FailsToCountWithoutARow) {
  put_entries(3);
  sqlite.fail("step");
  EXPECT_EQ(annal_event_query_count(0), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "busy_timeout 20000", "prepare " + count_text(""),
                                   "finalize", "close"}));
}

// ---- bad arguments ----

class EventQueryArguments : public ApplianceTest {
 protected:
  void TearDown() override {
    EXPECT_TRUE(listing.rows.empty());
    EXPECT_TRUE(sqlite.calls().empty());
    EXPECT_FALSE(exists(kLog));
    ApplianceTest::TearDown();
  }

  // Calls the two queries that take all selectors.
  void expect_bad(unsigned sort, int start, int end, unsigned type) {
    EXPECT_EQ(annal_event_query(&collect, sort, start, end, type, &listing), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(annal_event_query_group(&collect, sort, start, end, type, 0, &listing), ANNAL_BAD_ARGUMENT);
  }

  Listing listing;
};

TEST_F(EventQueryArguments, RefuseSortAbove25) {
  for (const unsigned sort : {26U, 27U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(sort);
    expect_bad(sort, 0, 0, 0);
  }
}

TEST_F(EventQueryArguments, RefuseTypeAbove3) {
  for (const unsigned type : {4U, 5U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(type);
    expect_bad(0, 0, 0, type);
    EXPECT_EQ(annal_event_query_count(type), ANNAL_BAD_ARGUMENT);
  }
}

TEST_F(EventQueryArguments, RefuseGroupAbove9) {
  for (const unsigned group : {10U, 11U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(group);
    EXPECT_EQ(annal_event_query_group(&collect, 0, 0, 0, 0, group, &listing), ANNAL_BAD_ARGUMENT);
  }
}

TEST_F(EventQueryArguments, RefuseANegativeOrInvertedRange) {
  const struct {
    int start;
    int end;
  } ranges[] = {{5, 3}, {1, 0}, {INT_MAX, 0}, {-1, 0}, {-1, 5}, {-5, -3}, {0, -1}, {-1, -1}, {INT_MIN, INT_MAX}};
  for (const auto& [start, end] : ranges) {
    SCOPED_TRACE(std::to_string(start) + " to " + std::to_string(end));
    expect_bad(0, start, end, 0);
  }
}

}  // namespace
}  // namespace annal::test
