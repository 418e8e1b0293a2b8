// Lists, groups and counts notices.
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

constexpr const char* kLog = "/etc/logs/notice.log";

// Notices 1 to count, one every ten seconds from 10 on.
void put_notices(int count) {
  sql(kLog, "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(count) +
                ") INSERT INTO ANNAL_NOTICE (id, time) SELECT i, i * 10 FROM n;");
}

const Row& columns() {
  static const Row names = {"id",      "severity", "server",      "action", "serviceName", "facility",
                            "time",    "endtime",  "user",        "ip",     "client",      "desc",
                            "msgCode", "varNum",   "varContent",  "name",   "status",      "uid",
                            "gid",     "link_id",  "link_option", "title"};
  return names;
}

class NoticeQuery : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OK);
    sqlite.reset();
  }

  Listing listing;
};

// ---- every query ----

// The arguments of a query; each uses those that it has.
struct QueryArguments {
  annal_row_callback callback = &collect;
  unsigned sort = 0;
  int start = 0;
  int end = 0;
  unsigned group = 0;
  const char* from = "0";
  int days = 2;
  const char* to = "100000";
};

struct Query {
  const char* name;
  int (*call)(const QueryArguments& arguments, void* context);
  std::string (*text)(const char* order, const char* limit);  // for the given arguments
  const char* function;                                       // the function that runs the statement
};

void PrintTo(const Query& query, std::ostream* out) {
  *out << query.name;
}

#define SPAN "where time >= 0 and time <= 100000 and time >= (100000 - 2*86400)"

const Query kListing{"Listing",
                     [](const QueryArguments& arguments, void* context) {
                       return annal_notice_query(arguments.callback, arguments.sort, arguments.start, arguments.end, 0,
                                                 context);
                     },
                     [](const char* order, const char* limit) {
                       return std::string("SELECT * FROM ANNAL_NOTICE  ") + order + " " + limit + ";";
                     },
                     "exec"};

const Query kListingOfTime{"ListingOfTime",
                           [](const QueryArguments& arguments, void* context) {
                             return annal_notice_query_byclientTime(arguments.callback, arguments.from, arguments.days,
                                                                    arguments.to, arguments.start, arguments.end,
                                                                    arguments.sort,
                                                                    /* condition= */ nullptr, context);
                           },
                           [](const char* order, const char* limit) {
                             return std::string("SELECT * FROM ANNAL_NOTICE " SPAN " ") + order + " " + limit + ";";
                           },
                           "exec"};

const Query kListingOfTimeWhere{
    "ListingOfTimeWhere",
    [](const QueryArguments& arguments, void* context) {
      return annal_notice_query_byclientTime(arguments.callback, arguments.from, arguments.days, arguments.to,
                                             arguments.start, arguments.end, arguments.sort, /* condition= */ "id > 0",
                                             context);
    },
    [](const char* order, const char* limit) {
      return std::string("SELECT * FROM ANNAL_NOTICE " SPAN " and id > 0 ") + order + " " + limit + ";";
    },
    "exec"};

const Query kGroupsOfTime{"GroupsOfTime",
                          [](const QueryArguments& arguments, void* context) {
                            return annal_notice_query_group_byclientTime(
                                arguments.callback, arguments.from, arguments.days, arguments.to, arguments.start,
                                arguments.end, arguments.sort, arguments.group, /* condition= */ nullptr, context);
                          },
                          [](const char* order, const char* limit) {
                            return std::string("SELECT *,COUNT(*) FROM (SELECT * FROM ANNAL_NOTICE ") + order +
                                   ") " SPAN " GROUP BY id " + limit + ";";
                          },
                          "exec"};

const Query kGroupsOfTimeWhere{"GroupsOfTimeWhere",
                               [](const QueryArguments& arguments, void* context) {
                                 return annal_notice_query_group_byclientTime(
                                     arguments.callback, arguments.from, arguments.days, arguments.to, arguments.start,
                                     arguments.end, arguments.sort, arguments.group, /* condition= */ "id > 0",
                                     context);
                               },
                               [](const char* order, const char* limit) {
                                 return std::string("SELECT *,COUNT(*) FROM (SELECT * FROM ANNAL_NOTICE ") + order +
                                        ") " SPAN " and id > 0 GROUP BY id " + limit + ";";
                               },
                               "exec"};

const Query kCount{"Count",
                   [](const QueryArguments& /*arguments*/, void* /*context*/) {
                     return annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr);
                   },
                   [](const char*, const char*) { return std::string("SELECT COUNT(*) FROM ANNAL_NOTICE ;"); },
                   "prepare"};

const Query kCountOfTime{
    "CountOfTime",
    [](const QueryArguments& arguments, void* /*context*/) {
      return annal_notice_query_byclientTime_count(arguments.from, arguments.days, arguments.to, nullptr);
    },
    [](const char*, const char*) { return std::string("SELECT COUNT(*) FROM ANNAL_NOTICE " SPAN ";"); }, "prepare"};

const Query kCountOfTimeWhere{
    "CountOfTimeWhere",
    [](const QueryArguments& arguments, void* /*context*/) {
      return annal_notice_query_byclientTime_count(arguments.from, arguments.days, arguments.to, "id > 0");
    },
    [](const char*, const char*) { return std::string("SELECT COUNT(*) FROM ANNAL_NOTICE " SPAN " and id > 0;"); },
    "prepare"};
#undef SPAN

const std::vector<Query> kListings = {kListing, kListingOfTime, kListingOfTimeWhere, kGroupsOfTime, kGroupsOfTimeWhere};
const std::vector<Query> kSortedListings = {kListing, kListingOfTime, kListingOfTimeWhere};
const std::vector<Query> kQueries = {kListing,           kListingOfTime, kListingOfTimeWhere, kGroupsOfTime,
                                     kGroupsOfTimeWhere, kCount,         kCountOfTime,        kCountOfTimeWhere};

class EveryNoticeQuery : public NoticeQuery, public testing::WithParamInterface<Query> {
 protected:
  int call(const QueryArguments& arguments = {}) { return GetParam().call(arguments, &listing); }
};
INSTANTIATE_TEST_SUITE_P(Of, EveryNoticeQuery, testing::ValuesIn(kQueries),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(EveryNoticeQuery, RunsOneStatementInOneConnection) {
  put_notices(2);
  const bool counts = GetParam().function == std::string("prepare");
  EXPECT_EQ(call(), counts ? 2 : 0);
  Calls expected = {"open /etc/logs/notice.log", "busy_timeout 20000",
                    GetParam().function + (" " + GetParam().text("ORDER BY time", "")), "finalize", "close"};
  if (!counts) {
    expected.erase(expected.end() - 2);
  }
  EXPECT_EQ(sqlite.calls(), expected);
}

TEST_P(EveryNoticeQuery, FindsNothingInAnEmptyTable) {
  EXPECT_EQ(call(), 0);
  EXPECT_TRUE(listing.rows.empty());
}

TEST_P(EveryNoticeQuery, FailsWithoutTheTable) {
  sql(kLog, "DROP TABLE ANNAL_NOTICE;");
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
}

TEST_P(EveryNoticeQuery, FailsOnANonDatabaseFile) {
  std::ofstream(kLog, std::ios::trunc) << std::string(4096, 'x');
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
}

TEST_P(EveryNoticeQuery, FailsWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(call(), ANNAL_OPEN_FAILED);
}

TEST_P(EveryNoticeQuery, ClosesTheHandleOfAFailedOpen) {
  sqlite.fail("open");
  EXPECT_EQ(call(), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/notice.log", "close"}));
}

TEST_P(EveryNoticeQuery, ReportsAFailedStatement) {
  put_notices(3);
  sqlite.fail(GetParam().function);
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls().back(), "close");
}

TEST_P(EveryNoticeQuery, OpensNothingIfItsStatementCannotBeBuilt) {
  std::remove(kLog);
  sqlite.fail("mprintf");
  EXPECT_EQ(call(), ANNAL_NO_MEMORY);
  EXPECT_TRUE(sqlite.calls().empty());
  EXPECT_FALSE(exists(kLog));
}

TEST_P(EveryNoticeQuery, WaitsForALock) {
  const LockHolder lock(kLog, 250ms);
  EXPECT_EQ(call(), 0);
}

// ---- every listing ----

class EveryNoticeListing : public EveryNoticeQuery {};
INSTANTIATE_TEST_SUITE_P(Of, EveryNoticeListing, testing::ValuesIn(kListings),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(EveryNoticeListing, DeliversEveryColumnInTableOrder) {
  sql(kLog,
      "INSERT INTO ANNAL_NOTICE VALUES (4, 3, 1, 2, 'Backup', 5, 1000, 1001, 'ann', '10.0.0.1', 'one', 'Fan failed.', "
      "'m1', 2, 'a;b', 'fan', 6, 7, 8, 'link', 'option', 'title');");
  Row names = columns();
  Row values = {"4",           "3",  "1", "2",   "Backup", "5", "1000", "1001", "ann",  "10.0.0.1", "one",
                "Fan failed.", "m1", "2", "a;b", "fan",    "6", "7",    "8",    "link", "option",   "title"};
  if (std::string(GetParam().name).starts_with("Groups")) {
    names.emplace_back("COUNT(*)");
    values.emplace_back("1");
  }
  EXPECT_EQ(call(), ANNAL_OK);
  EXPECT_EQ(listing.names, names);
  EXPECT_EQ(listing.rows, Rows({values}));
}

TEST_P(EveryNoticeListing, DeliversNullAsANullPointer) {
  put_notices(1);
  EXPECT_EQ(call(), ANNAL_OK);
  ASSERT_EQ(listing.rows.size(), 1U);
  EXPECT_EQ(listing.rows[0][1], "NULL");
}

TEST_P(EveryNoticeListing, FailsIfItsCallbackStopsIt) {
  put_notices(5);
  int listed = 100;
  EXPECT_EQ(GetParam().call({.callback = &stop}, &listed), ANNAL_QUERY_FAILED);
  EXPECT_EQ(listed, 101);
}

TEST_P(EveryNoticeListing, PassesANullContext) {
  put_notices(1);
  static bool was_null;
  was_null = false;
  const annal_row_callback note = [](void* context, int, char**, char**) {
    was_null = context == nullptr;
    return 0;
  };
  EXPECT_EQ(GetParam().call({.callback = note}, nullptr), ANNAL_OK);
  EXPECT_TRUE(was_null);
}

TEST_P(EveryNoticeListing, AcceptsANullCallback) {
  put_notices(3);
  EXPECT_EQ(GetParam().call({.callback = nullptr}, nullptr), ANNAL_OK);
}

struct Page {
  int start;
  int end;
  const char* clause;
  std::size_t rows;  // the number of 40 notices
};

TEST_P(EveryNoticeListing, CutsItsPage) {
  constexpr Page kPages[] = {
      {0, 0, "", 40},
      {0, 1, "LIMIT 1 OFFSET 0", 1},
      {10, 30, "LIMIT 20 OFFSET 10", 20},
      {5, 5, "LIMIT 0 OFFSET 5", 0},
      {35, 60, "LIMIT 25 OFFSET 35", 5},
      {40, 50, "LIMIT 10 OFFSET 40", 0},
      {0, INT_MAX, "LIMIT 2147483647 OFFSET 0", 40},
      {INT_MAX, INT_MAX, "LIMIT 0 OFFSET 2147483647", 0},
  };
  put_notices(40);
  for (const auto& [start, end, clause, rows] : kPages) {
    listing = {};
    sqlite.reset();
    EXPECT_EQ(call({.sort = 12, .start = start, .end = end}), ANNAL_OK);
    EXPECT_EQ(sqlite.statements(), Calls({GetParam().text("ORDER BY id", clause)}));
    ASSERT_EQ(listing.rows.size(), rows) << clause;
    for (std::size_t i = 0; i < rows; ++i) {
      EXPECT_EQ(listing.rows[i][0], std::to_string(static_cast<std::size_t>(start) + i + 1));
    }
  }
}

class EveryNoticeListingsArguments : public ApplianceTest, public testing::WithParamInterface<Query> {
 protected:
  void expect_bad(const QueryArguments& arguments) {
    Listing listing;
    EXPECT_EQ(GetParam().call(arguments, &listing), ANNAL_BAD_ARGUMENT);
    EXPECT_TRUE(sqlite.calls().empty());
    EXPECT_FALSE(exists(kLog));
  }
};
INSTANTIATE_TEST_SUITE_P(Of, EveryNoticeListingsArguments, testing::ValuesIn(kListings),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(EveryNoticeListingsArguments, RefuseSortAbove23) {
  for (const unsigned sort : {24U, 25U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(sort);
    expect_bad({.sort = sort});
  }
}

TEST_P(EveryNoticeListingsArguments, RefuseANegativeOrInvertedRange) {
  for (const auto& [start, end] :
       {std::pair(5, 0), std::pair(5, 3), std::pair(1, 0), std::pair(-1, 0), std::pair(-1, 5), std::pair(0, -1),
        std::pair(-1, -1), std::pair(INT_MIN, INT_MAX)}) {
    SCOPED_TRACE(std::to_string(start) + " to " + std::to_string(end));
    expect_bad({.start = start, .end = end});
  }
}

// ---- sort codes ----

struct Sort {
  unsigned code;
  const char* clause;
  const char* order;  // for the three notices below; null for SQLite's own order
};

constexpr Sort kSorts[] = {
    {0, "ORDER BY time", "2,3,1"},
    {1, "ORDER BY time DESC", "1,3,2"},
    {2, "", nullptr},
    {3, "", nullptr},
    {4, "ORDER BY severity", "3,1,2"},
    {5, "ORDER BY severity DESC", "2,1,3"},
    {6, "ORDER BY user", "2,1,3"},
    {7, "ORDER BY user DESC", "3,1,2"},
    {8, "ORDER BY ip", "1,3,2"},
    {9, "ORDER BY ip DESC", "2,3,1"},
    {10, "ORDER BY client", "3,2,1"},
    {11, "ORDER BY client DESC", "1,2,3"},
    {12, "ORDER BY id", "1,2,3"},
    {13, "ORDER BY id DESC", "3,2,1"},
    {14, "ORDER BY server", "2,3,1"},
    {15, "ORDER BY server DESC", "1,3,2"},
    {16, "ORDER BY action", "3,1,2"},
    {17, "ORDER BY action DESC", "2,1,3"},
    {18, "ORDER BY serviceName", "1,3,2"},
    {19, "ORDER BY serviceName DESC", "2,3,1"},
    {20, "ORDER BY facility", "2,1,3"},
    {21, "ORDER BY facility DESC", "3,1,2"},
    {22, "ORDER BY msgCode", "3,2,1"},
    {23, "ORDER BY msgCode DESC", "1,2,3"},
};

void PrintTo(const Sort& sort, std::ostream* out) {
  *out << sort.code;
}

class NoticeSort : public NoticeQuery, public testing::WithParamInterface<Sort> {
 protected:
  void SetUp() override {
    NoticeQuery::SetUp();
    sql(kLog,
        "INSERT INTO ANNAL_NOTICE (id, time, severity, user, ip, client, server, action, serviceName, facility, "
        "msgCode) VALUES "
        "(1, 300, 4, 'bob', '10.0.0.1', 'c', 30, 2, 'a', 2, 'z'), "
        "(2, 90, 6, 'ann', '10.0.0.3', 'b', 4, 3, 'c', 1, 'y'), "
        "(3, 200, 3, 'cat', '10.0.0.2', 'a', 20, 1, 'b', 3, 'x');");
  }
};
INSTANTIATE_TEST_SUITE_P(Code, NoticeSort, testing::ValuesIn(kSorts),
                         [](const auto& tested) { return std::to_string(tested.param.code); });

TEST_P(NoticeSort, OrdersEveryListing) {
  for (const Query& query : kSortedListings) {
    listing = {};
    sqlite.reset();
    EXPECT_EQ(query.call({.sort = GetParam().code}, &listing), ANNAL_OK) << query.name;
    EXPECT_EQ(sqlite.statements(), Calls({query.text(GetParam().clause, "")}));
    EXPECT_EQ(listing.rows.size(), 3U) << query.name;
    if (GetParam().order != nullptr) {
      EXPECT_EQ(ids(listing), GetParam().order) << query.name;
    }
  }
}

// The order of groups does not depend on the inner statement's.
TEST_P(NoticeSort, IsPlacedInTheInnerStatementOfGroups) {
  for (const Query& query : {kGroupsOfTime, kGroupsOfTimeWhere}) {
    listing = {};
    sqlite.reset();
    EXPECT_EQ(query.call({.sort = GetParam().code}, &listing), ANNAL_OK) << query.name;
    EXPECT_EQ(sqlite.statements(), Calls({query.text(GetParam().clause, "")}));
    EXPECT_EQ(ids(listing), "1,2,3") << query.name;
  }
}

// ---- kinds and further arguments ----

TEST_F(NoticeQuery, TreatsBothKindsAlike) {
  put_notices(3);
  for (const unsigned kind : {0U, 1U}) {
    listing = {};
    sqlite.reset();
    EXPECT_EQ(annal_notice_query(&collect, 12, 0, 0, kind, &listing), ANNAL_OK);
    EXPECT_EQ(ids(listing), "1,2,3");
    EXPECT_EQ(annal_notice_query_count(kind, nullptr, nullptr, nullptr, nullptr, nullptr), 3);
    EXPECT_EQ(sqlite.statements(),
              Calls({"SELECT * FROM ANNAL_NOTICE  ORDER BY id ;", "SELECT COUNT(*) FROM ANNAL_NOTICE ;"}));
  }
}

TEST_F(NoticeQuery, RefusesKindAbove1) {
  for (const unsigned kind : {2U, 3U, 0x80000000U, UINT_MAX}) {
    EXPECT_EQ(annal_notice_query(&collect, 0, 0, 0, kind, &listing), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(annal_notice_query_count(kind, nullptr, nullptr, nullptr, nullptr, nullptr), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_TRUE(sqlite.calls().empty());
}

// They may point anywhere, even to unreadable memory.
TEST_F(NoticeQuery, IgnoresTheOtherFiveArgumentsOfACount) {
  put_notices(7);
  const void* const nowhere = reinterpret_cast<const void*>(1);  // NOLINT(performance-no-int-to-ptr)
  for (const void* argument : {nowhere, static_cast<const void*>("WHERE id = 1")}) {
    sqlite.reset();
    EXPECT_EQ(annal_notice_query_count(1, argument, argument, argument, argument, argument), 7);
    EXPECT_EQ(sqlite.statements(), Calls({"SELECT COUNT(*) FROM ANNAL_NOTICE ;"}));
  }
}

TEST_F(NoticeQuery, ReturnsANegativeCount) {
  put_notices(3);
  sqlite.answer_next(-7);
  EXPECT_EQ(annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr), -7);
  sqlite.answer_next(-7);
  EXPECT_EQ(annal_notice_query_byclientTime_count("0", 1, "100", nullptr), -7);
  EXPECT_EQ(annal_notice_query_byclientTime_count("0", 1, "100", "1 UNION SELECT -5 ORDER BY 1"), -5);
}

TEST_F(NoticeQuery, FailsToCountWithoutARow) {
  put_notices(3);
  sqlite.fail("step");
  EXPECT_EQ(annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls().back(), "close");
  sqlite.fail("step");
  EXPECT_EQ(annal_notice_query_byclientTime_count("0", 1, "100", nullptr), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls().back(), "close");
}

// ---- spans of time ----

struct PeriodCase {
  const char* name;
  const char* from;
  int days;
  const char* to;
  const char* condition;
  const char* clause;
  const char* found;  // the result for the notices below; null if the statement fails
};

constexpr PeriodCase kSpans[] = {
    {"BothEndsIncluded", "200000", 9, "400000", nullptr,
     "where time >= 200000 and time <= 400000 and time >= (400000 - 9*86400)", "2,3,4"},
    {"JustInside", "200001", 9, "399999", nullptr,
     "where time >= 200001 and time <= 399999 and time >= (399999 - 9*86400)", "3"},
    {"CutByTheDays", "0", 1, "400000", nullptr, "where time >= 0 and time <= 400000 and time >= (400000 - 1*86400)",
     "4"},
    {"CutByTheDaysToTheSecond", "0", 1, "386400", nullptr,
     "where time >= 0 and time <= 386400 and time >= (386400 - 1*86400)", "3"},
    {"JustBehindTheDays", "0", 1, "386401", nullptr,
     "where time >= 0 and time <= 386401 and time >= (386401 - 1*86400)", ""},
    {"NoDays", "0", 0, "300000", nullptr, "where time >= 0 and time <= 300000 and time >= (300000 - 0*86400)", "3"},
    {"NegativeDays", "0", -1, "300000", nullptr, "where time >= 0 and time <= 300000 and time >= (300000 - -1*86400)",
     ""},
    {"Inverted", "400000", 9, "200000", nullptr,
     "where time >= 400000 and time <= 200000 and time >= (200000 - 9*86400)", ""},
    {"Expressions", "100000*2", 9, "max(1,400000)", nullptr,
     "where time >= 100000*2 and time <= max(1,400000) and time >= (max(1,400000) - 9*86400)", "2,3,4"},
    {"Condition", "0", 12, "999999", "severity < 4",
     "where time >= 0 and time <= 999999 and time >= (999999 - 12*86400) and severity < 4", "1,5"},
    {"ConditionOfSeveralParts", "200000", 9, "999999", "severity < 4 or id = 1",
     "where time >= 200000 and time <= 999999 and time >= (999999 - 9*86400) and severity < 4 or id = 1", "1,5"},
    {"EmptyCondition", "0", 9, "999999", "", "where time >= 0 and time <= 999999 and time >= (999999 - 9*86400) and ",
     nullptr},
    {"QuotedCondition", "0", 9, "999999", "user = 'ann'",
     "where time >= 0 and time <= 999999 and time >= (999999 - 9*86400) and user = ''ann''", nullptr},
    {"QuotedFrom", "'0'", 9, "999999", nullptr, "where time >= ''0'' and time <= 999999 and time >= (999999 - 9*86400)",
     nullptr},
    {"QuotedTo", "0", 9, "'9'", nullptr, "where time >= 0 and time <= ''9'' and time >= (''9'' - 9*86400)", nullptr},
    {"EmptyFrom", "", 9, "999999", nullptr, "where time >=  and time <= 999999 and time >= (999999 - 9*86400)",
     nullptr},
    {"UnknownColumn", "0", 9, "999999", "clisant = 1",
     "where time >= 0 and time <= 999999 and time >= (999999 - 9*86400) and clisant = 1", nullptr},
    {"NullFrom", nullptr, 9, "999999", nullptr,
     "where time >= (NULL) and time <= 999999 and time >= (999999 - 9*86400)", ""},
    {"NullTo", "0", 9, nullptr, nullptr, "where time >= 0 and time <= (NULL) and time >= ((NULL) - 9*86400)", ""},
};

void PrintTo(const PeriodCase& span, std::ostream* out) {
  *out << span.name;
}

class NoticePeriod : public NoticeQuery, public testing::WithParamInterface<PeriodCase> {
 protected:
  void SetUp() override {
    NoticeQuery::SetUp();
    sql(kLog,
        "INSERT INTO ANNAL_NOTICE (id, time, severity, user) VALUES (1, 100000, 3, 'ann'), (2, 200000, 4, 'ann'), "
        "(3, 300000, 5, 'ann'), (4, 400000, 6, 'ann'), (5, 500000, 0, 'bob');");
  }

  static int answer() { return GetParam().found != nullptr ? static_cast<int>(ANNAL_OK) : ANNAL_QUERY_FAILED; }
  static std::string found() { return GetParam().found != nullptr ? GetParam().found : ""; }
};
INSTANTIATE_TEST_SUITE_P(, NoticePeriod, testing::ValuesIn(kSpans),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(NoticePeriod, IsListed) {
  const auto& [name, from, days, to, condition, clause, expected] = GetParam();
  EXPECT_EQ(annal_notice_query_byclientTime(&collect, from, days, to, /* start= */ 0, /* end= */ 9, /* sort= */ 12,
                                            condition, &listing),
            answer());
  EXPECT_EQ(sqlite.statements(),
            Calls({std::string("SELECT * FROM ANNAL_NOTICE ") + clause + " ORDER BY id LIMIT 9 OFFSET 0;"}));
  EXPECT_EQ(ids(listing), found());
}

TEST_P(NoticePeriod, IsGrouped) {
  const auto& [name, from, days, to, condition, clause, expected] = GetParam();
  EXPECT_EQ(annal_notice_query_group_byclientTime(&collect, from, days, to, /* start= */ 0, /* end= */ 9,
                                                  /* sort= */ 12, /* group= */ 0, condition, &listing),
            answer());
  EXPECT_EQ(sqlite.statements(),
            Calls({std::string("SELECT *,COUNT(*) FROM (SELECT * FROM ANNAL_NOTICE ORDER BY id) ") + clause +
                   " GROUP BY id LIMIT 9 OFFSET 0;"}));
  EXPECT_EQ(ids(listing), found());
}

TEST_P(NoticePeriod, IsCounted) {
  const auto& [name, from, days, to, condition, clause, expected] = GetParam();
  const std::string all = found();
  const auto count = all.empty() ? 0 : static_cast<int>(std::count(all.begin(), all.end(), ',')) + 1;
  EXPECT_EQ(annal_notice_query_byclientTime_count(from, days, to, condition),
            answer() == ANNAL_OK ? count : static_cast<int>(ANNAL_QUERY_FAILED));
  EXPECT_EQ(sqlite.statements(), Calls({std::string("SELECT COUNT(*) FROM ANNAL_NOTICE ") + clause + ";"}));
}

// ---- groups ----

struct Grouping {
  unsigned code;
  const char* clause;
  const char* sizes;  // the group sizes of the nine notices below, largest first; null if the statement fails
};

constexpr Grouping kGroupings[] = {
    {0, "GROUP BY id", "1,1,1,1,1,1,1,1,1"},
    {1, "GROUP BY severity", "5,4"},
    {2, "GROUP BY server", "3,3,3"},
    {3, "GROUP BY action", "3,2,2,2"},
    {4, "GROUP BY serviceName", "2,2,2,2,1"},
    {5, "GROUP BY facility", "2,2,2,1,1,1"},
    {6, "GROUP BY time", "2,2,1,1,1,1,1"},
    {7, "GROUP BY endtime", "2,1,1,1,1,1,1,1"},
    {8, "GROUP BY user", "6,3"},
    {9, "GROUP BY ip", "7,2"},
    {10, "GROUP BY clisant", nullptr},
    {11, "GROUP BY desc", "8,1"},
    {12, "GROUP BY msgCode", "9"},
    {13, "GROUP BY varNum", "4,3,2"},
    {14, "GROUP BY varContent", "5,3,1"},
    {15, "GROUP BY facility,name,desc", "2,2,1,1,1,1,1"},
    {16, "GROUP BY facility,name,desc", "2,2,1,1,1,1,1"},
    {99, "GROUP BY facility,name,desc", "2,2,1,1,1,1,1"},
    {0x80000000U, "GROUP BY facility,name,desc", "2,2,1,1,1,1,1"},
    {UINT_MAX, "GROUP BY facility,name,desc", "2,2,1,1,1,1,1"},
};

void PrintTo(const Grouping& grouping, std::ostream* out) {
  *out << grouping.code;
}

class NoticeGrouping : public NoticeQuery, public testing::WithParamInterface<Grouping> {
 protected:
  void SetUp() override {
    NoticeQuery::SetUp();
    sql(kLog,
        "WITH n(i) AS (VALUES(0) UNION ALL SELECT i + 1 FROM n WHERE i < 8) "
        "INSERT INTO ANNAL_NOTICE (severity, server, action, serviceName, facility, time, endtime, user, ip, desc, "
        "msgCode, varNum, varContent, name) "
        "SELECT i % 2, i % 3, i % 4, i % 5, i % 6, i % 7, i % 8, i > 5, i > 6, i > 7, 0, (i > 3) + (i > 6), "
        "(i > 4) + (i > 7), 'fan' FROM n;");
  }
};
INSTANTIATE_TEST_SUITE_P(Code, NoticeGrouping, testing::ValuesIn(kGroupings),
                         [](const auto& tested) { return std::to_string(tested.param.code); });

TEST_P(NoticeGrouping, MakesItsGroupsAndCountsThem) {
  const int answer = GetParam().sizes != nullptr ? static_cast<int>(ANNAL_OK) : ANNAL_QUERY_FAILED;
  EXPECT_EQ(annal_notice_query_group_byclientTime(&collect, /* from= */ "0", /* days= */ 1, /* to= */ "9",
                                                  /* start= */ 0, /* end= */ 0, /* sort= */ 2, GetParam().code,
                                                  /* condition= */ nullptr, &listing),
            answer);
  EXPECT_EQ(sqlite.statements(),
            Calls({std::string("SELECT *,COUNT(*) FROM (SELECT * FROM ANNAL_NOTICE ) where time >= 0 and time <= "
                               "9 and time >= (9 - 1*86400) ") +
                   GetParam().clause + " ;"}));
  std::vector<std::string> sizes;
  for (const Row& row : listing.rows) {
    sizes.push_back(row.at(22));
  }
  std::sort(sizes.rbegin(), sizes.rend());
  std::string all;
  for (const std::string& size : sizes) {
    all += (all.empty() ? "" : ",") + size;
  }
  EXPECT_EQ(all, GetParam().sizes != nullptr ? GetParam().sizes : "");
}

TEST_F(NoticeQuery, GroupsOnlyThePeriodsMatchingNotices) {
  sql(kLog,
      "INSERT INTO ANNAL_NOTICE (time, severity, user) VALUES (1, 3, 'ann'), (2, 3, 'ann'), (3, 3, 'bob'), (4, 4, "
      "'ann'), (5, 3, 'ann');");
  EXPECT_EQ(annal_notice_query_group_byclientTime(&collect, /* from= */ "2", /* days= */ 1, /* to= */ "4",
                                                  /* start= */ 0, /* end= */ 0, /* sort= */ 1, /* group= */ 8,
                                                  /* condition= */ "severity = 3", &listing),
            ANNAL_OK);
  ASSERT_EQ(listing.rows.size(), 2U);
  EXPECT_EQ(listing.rows[0][8] + listing.rows[0][22], "ann1");
  EXPECT_EQ(listing.rows[1][8] + listing.rows[1][22], "bob1");
}

TEST_F(NoticeQuery, LetsItsCallbackCallTheLibrary) {
  put_notices(5);
  int counted = 0;
  const annal_row_callback count = [](void* context, int, char**, char**) {
    *static_cast<int*>(context) = annal_notice_query_count(0, nullptr, nullptr, nullptr, nullptr, nullptr);
    return 0;
  };
  EXPECT_EQ(annal_notice_query(count, 0, 0, 0, 0, &counted), ANNAL_OK);
  EXPECT_EQ(counted, 5);
}

}  // namespace
}  // namespace annal::test
