// Lists and counts file operations, by type and by a caller's filter.
#include <climits>
#include <cstdio>
#include <cstring>
#include <ostream>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/suites/log_operations.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLog = "/etc/logs/operations.db";

// ---- the statements ----

std::string listing_text(const std::string& where, const std::string& order, const std::string& limit) {
  return "SELECT * FROM PAVO2LOG_EVENT " + where + " " + order + " " + limit + ";";
}

std::string count_text(const std::string& where) {
  return "SELECT COUNT(*) FROM PAVO2LOG_EVENT " + where + ";";
}

Calls calls_of_listing(const std::string& where, const std::string& order, const std::string& limit) {
  return connection(kLog, {"exec " + listing_text(where, order, limit)}, true);
}

Calls calls_of_count(const std::string& where) {
  return connection(kLog, {"prepare " + count_text(where), "finalize"}, true);
}

// ---- helpers ----

// A filter without conditions.
FileOpFilter any() {
  FileOpFilter filter{};
  filter.event_id = 5;
  filter.event_filesize = -1;
  return filter;
}

template <std::size_t size>
void put(char (&field)[size], const std::string& text) {
  ASSERT_LT(text.size(), size);
  field[text.copy(field, size)] = '\0';
}

std::string bytes_of(const FileOpFilter& filter) {
  return {reinterpret_cast<const char*>(&filter), sizeof filter};
}

int list_by(FileOpFilter filter, Listing& listing, unsigned sort = 12, int start = 0, int end = 0) {
  return pavo2log_event_query_by(kLog, &collect, &filter, sort, start, end, &listing);
}

int count_by(FileOpFilter filter) {
  return pavo2log_event_query_count_by(kLog, &filter, nullptr, nullptr, nullptr, nullptr);
}

int count_of(unsigned type) {
  return pavo2log_event_query_count(kLog, type, nullptr, nullptr, nullptr, nullptr);
}

// Entries 1 to count, of the types 0, 1, 2, 0, 1, 2 and so on.
void put_entries(int count) {
  sql(kLog, "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(count) +
                ") INSERT INTO PAVO2LOG_EVENT (event_id, event_type) SELECT i, (i - 1) % 3 FROM n;");
}

// A log with an empty table.
class FileOpQuery : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(pavo2log_event_create_tbl(kLog, 0, 0), ANNAL_OK);
    sqlite.reset();
  }

  Listing listing;
};

// ---- what the four queries have in common ----

struct Query {
  const char* name;
  int (*call)(const char* path, Listing* listing);
  const char* function;  // the function that runs the statement
};

void PrintTo(const Query& query, std::ostream* out) {
  *out << query.name;
}

constexpr Query kQueries[] = {
    {"Listing",
     [](const char* path, Listing* listing) { return pavo2log_event_query(path, &collect, 0, 0, 0, 0, listing); },
     "exec"},
    {"ListingBy",
     [](const char* path, Listing* listing) {
       FileOpFilter filter = any();
       return pavo2log_event_query_by(path, &collect, &filter, 0, 0, 0, listing);
     },
     "exec"},
    {"Count",
     [](const char* path, Listing* /*listing*/) {
       return pavo2log_event_query_count(path, 0, nullptr, nullptr, nullptr, nullptr);
     },
     "prepare"},
    {"CountBy",
     [](const char* path, Listing* /*listing*/) {
       FileOpFilter filter = any();
       return pavo2log_event_query_count_by(path, &filter, nullptr, nullptr, nullptr, nullptr);
     },
     "prepare"},
};

class EveryFileOpQuery : public FileOpQuery, public testing::WithParamInterface<Query> {
 protected:
  int call(const char* path = kLog) { return GetParam().call(path, &listing); }
};

INSTANTIATE_TEST_SUITE_P(Of, EveryFileOpQuery, testing::ValuesIn(kQueries),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(EveryFileOpQuery, FindsNothingInAnEmptyTable) {
  EXPECT_EQ(call(), 0);
  EXPECT_TRUE(listing.rows.empty());
}

TEST_P(EveryFileOpQuery, ReadsTheFileThatItsCallerNames) {
  constexpr const char* kOther = "/etc/logs/other.db";
  ASSERT_EQ(pavo2log_event_create_tbl(kOther, 0, 0), ANNAL_OK);
  sql(kOther, "INSERT INTO PAVO2LOG_EVENT (event_id) VALUES (9);");
  const int result = call(kOther);
  EXPECT_TRUE(result == 1 || ids(listing) == "9");
}

TEST_P(EveryFileOpQuery, RefusesANullPath) {
  EXPECT_EQ(call(nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(sqlite.calls(), Calls());
}

TEST_P(EveryFileOpQuery, FailsWithoutTheTable) {
  sql(kLog, "DROP TABLE PAVO2LOG_EVENT;");
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
}

TEST_P(EveryFileOpQuery, FailsOnANonDatabaseFile) {
  put_garbage(kLog);
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
}

TEST_P(EveryFileOpQuery, FailsWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(call(), ANNAL_OPEN_FAILED);
}

TEST_P(EveryFileOpQuery, ClosesTheHandleOfAFailedOpen) {
  sqlite.fail("open");
  EXPECT_EQ(call(), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), connection(kLog, {}, false));
}

TEST_P(EveryFileOpQuery, ReportsAFailedStatement) {
  put_entries(3);
  sqlite.fail(GetParam().function);
  EXPECT_EQ(call(), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls().back(), "close");
}

TEST_P(EveryFileOpQuery, OpensNothingIfItsStatementCannotBeBuilt) {
  std::remove(kLog);
  sqlite.fail("mprintf");
  EXPECT_EQ(call(), ANNAL_NO_MEMORY);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(kLog));
}

TEST_P(EveryFileOpQuery, WaitsForALock) {
  const LockHolder lock(kLog, 250ms);
  EXPECT_EQ(call(), 0);
}

// ---- sort codes ----

struct Sort {
  unsigned code;
  const char* clause;     // of a listing
  const char* by_clause;  // for a filtered listing
  const char* order;      // for the three entries below
  const char* by_order;
};

constexpr Sort kSorts[] = {
    {0, "ORDER BY event_date, event_time", "ORDER BY event_date, event_time", "2,3,1", "2,3,1"},
    {1, "ORDER BY event_date DESC, event_time DESC", "ORDER BY event_id DESC", "1,3,2", "3,2,1"},
    {2, "ORDER BY event_time, event_date", "ORDER BY event_time, event_date", "3,2,1", "3,2,1"},
    {3, "ORDER BY event_time DESC, event_date DESC", "ORDER BY event_time DESC, event_date DESC", "1,2,3", "1,2,3"},
    {4, "ORDER BY event_type", "ORDER BY event_type", "3,1,2", "3,1,2"},
    {5, "ORDER BY event_type DESC", "ORDER BY event_type DESC", "2,1,3", "2,1,3"},
    {6, "ORDER BY event_user", "ORDER BY event_user", "2,1,3", "2,1,3"},
    {7, "ORDER BY event_user DESC", "ORDER BY event_user DESC", "3,1,2", "3,1,2"},
    {8, "ORDER BY event_ip", "ORDER BY event_ip", "1,3,2", "1,3,2"},
    {9, "ORDER BY event_ip DESC", "ORDER BY event_ip DESC", "2,3,1", "2,3,1"},
    {10, "ORDER BY event_comp", "ORDER BY event_comp", "2,3,1", "2,3,1"},
    {11, "ORDER BY event_comp DESC", "ORDER BY event_comp DESC", "1,3,2", "1,3,2"},
    {12, "ORDER BY event_id", "ORDER BY event_id", "1,2,3", "1,2,3"},
    {13, "ORDER BY event_id DESC", "ORDER BY event_id DESC", "3,2,1", "3,2,1"},
    {14, "ORDER BY event_isFolder", "ORDER BY event_isFolder", "1,3,2", "1,3,2"},
    {15, "ORDER BY event_isFolder DESC", "ORDER BY event_isFolder DESC", "2,3,1", "2,3,1"},
    {16, "ORDER BY event_action", "ORDER BY event_action", "2,3,1", "2,3,1"},
    {17, "ORDER BY event_action DESC", "ORDER BY event_action DESC", "1,3,2", "1,3,2"},
    {18, "ORDER BY event_filesize", "ORDER BY event_filesize", "2,1,3", "2,1,3"},
    {19, "ORDER BY event_filesize DESC", "ORDER BY event_filesize DESC", "3,1,2", "3,1,2"},
    {20, "", "", "1,2,3", "1,2,3"},
    {21, "", "", "1,2,3", "1,2,3"},
};

void PrintTo(const Sort& sort, std::ostream* out) {
  *out << sort.code;
}

class FileOpSort : public FileOpQuery, public testing::WithParamInterface<Sort> {
 protected:
  void SetUp() override {
    FileOpQuery::SetUp();
    sql(kLog,
        "INSERT INTO PAVO2LOG_EVENT (event_id, event_date, event_time, event_type, event_user, event_ip, event_comp, "
        "event_isFolder, event_action, event_filesize) VALUES "
        "(1, '2020-01-02', '09:00:00', 1, 'bob', '10.0.0.1', 'c', 0, 35, 30), "
        "(2, '2020-01-01', '09:00:00', 2, 'ann', '10.0.0.3', 'a', 2, 4, 20), "
        "(3, '2020-01-02', '08:00:00', 0, 'cat', '10.0.0.2', 'b', 1, 5, 100);");
  }
};

INSTANTIATE_TEST_SUITE_P(Code, FileOpSort, testing::ValuesIn(kSorts),
                         [](const auto& tested) { return std::to_string(tested.param.code); });

TEST_P(FileOpSort, OrdersAListing) {
  EXPECT_EQ(pavo2log_event_query(kLog, &collect, GetParam().code, 0, 0, 0, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of_listing("", GetParam().clause, ""));
  EXPECT_EQ(ids(listing), GetParam().order);
}

TEST_P(FileOpSort, OrdersAFilteredListing) {
  EXPECT_EQ(list_by(any(), listing, GetParam().code), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of_listing("", GetParam().by_clause, ""));
  EXPECT_EQ(ids(listing), GetParam().by_order);
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

class FileOpTypeFilter : public FileOpQuery, public testing::WithParamInterface<TypeFilter> {
 protected:
  void SetUp() override {
    FileOpQuery::SetUp();
    put_entries(6);
    filter.event_type = GetParam().code;
  }

  FileOpFilter filter = any();
  int found = GetParam().code == 0 ? 6 : 2;
};

INSTANTIATE_TEST_SUITE_P(Code, FileOpTypeFilter, testing::ValuesIn(kTypeFilters),
                         [](const auto& tested) { return std::to_string(tested.param.code); });

TEST_P(FileOpTypeFilter, NarrowsAListing) {
  EXPECT_EQ(pavo2log_event_query(kLog, &collect, 12, 0, 0, GetParam().code, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of_listing(GetParam().clause, "ORDER BY event_id", ""));
  EXPECT_EQ(ids(listing), GetParam().found);
}

TEST_P(FileOpTypeFilter, NarrowsAFilteredListing) {
  EXPECT_EQ(list_by(filter, listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of_listing(GetParam().clause, "ORDER BY event_id", ""));
  EXPECT_EQ(ids(listing), GetParam().found);
}

TEST_P(FileOpTypeFilter, NarrowsACount) {
  EXPECT_EQ(count_of(GetParam().code), found);
  EXPECT_EQ(sqlite.calls(), calls_of_count(GetParam().clause));
}

TEST_P(FileOpTypeFilter, NarrowsAFilteredCount) {
  EXPECT_EQ(count_by(filter), found);
  EXPECT_EQ(sqlite.calls(), calls_of_count(GetParam().clause));
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
    {"TwentyBeginningWithTheEleventh", 10, 30, "LIMIT 20 OFFSET 10", 11, 30},
    {"EmptyPage", 5, 5, "LIMIT 0 OFFSET 5", 1, 0},
    {"OverTheEnd", 35, 60, "LIMIT 25 OFFSET 35", 36, 40},
    {"BehindTheEnd", 40, 50, "LIMIT 10 OFFSET 40", 1, 0},
    {"Widest", 0, INT_MAX, "LIMIT 2147483647 OFFSET 0", 1, 40},
    {"Furthest", INT_MAX, INT_MAX, "LIMIT 0 OFFSET 2147483647", 1, 0},
};

void PrintTo(const Page& page, std::ostream* out) {
  *out << page.name;
}

class FileOpPage : public FileOpQuery, public testing::WithParamInterface<Page> {
 protected:
  void SetUp() override {
    FileOpQuery::SetUp();
    put_entries(40);
  }
};

INSTANTIATE_TEST_SUITE_P(Of, FileOpPage, testing::ValuesIn(kPages),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(FileOpPage, CutsAListing) {
  EXPECT_EQ(pavo2log_event_query(kLog, &collect, 12, GetParam().start, GetParam().end, 0, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of_listing("", "ORDER BY event_id", GetParam().clause));
  EXPECT_EQ(ids(listing), ids_between(GetParam().first, GetParam().last));
}

TEST_P(FileOpPage, CutsAFilteredListing) {
  EXPECT_EQ(list_by(any(), listing, 12, GetParam().start, GetParam().end), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of_listing("", "ORDER BY event_id", GetParam().clause));
  EXPECT_EQ(ids(listing), ids_between(GetParam().first, GetParam().last));
}

TEST_F(FileOpQuery, JoinsAllClausesInOrder) {
  FileOpFilter filter = any();
  filter.event_type = 3;
  filter.event_action = 4;
  EXPECT_EQ(list_by(filter, listing, 1, 10, 30), ANNAL_OK);
  EXPECT_EQ(pavo2log_event_query(kLog, &collect, 1, 10, 30, 3, &listing), ANNAL_OK);
  EXPECT_EQ(
      sqlite.statements(),
      Calls({listing_text("WHERE event_type = 2 AND event_action = 4 ", "ORDER BY event_id DESC", "LIMIT 20 OFFSET 10"),
             listing_text("WHERE event_type = 2", "ORDER BY event_date DESC, event_time DESC", "LIMIT 20 OFFSET 10")}));
}

// ---- filters ----

struct Filter {
  const char* name;
  void (*set)(FileOpFilter& filter);
  const char* where;
  const char* found;  // for the three entries below
};

constexpr Filter kFilters[] = {
    {"Nothing", [](FileOpFilter& /*filter*/) {}, "", "1,2,3"},
    {"Folder", [](FileOpFilter& filter) { filter.event_isFolder = 1; }, "WHERE event_isFolder = 1 ", "2"},
    {"FolderZero", [](FileOpFilter& filter) { filter.event_isFolder = 0; }, "", "1,2,3"},
    {"FolderNegative", [](FileOpFilter& filter) { filter.event_isFolder = -1; }, "", "1,2,3"},
    {"FolderHighest", [](FileOpFilter& filter) { filter.event_isFolder = INT_MAX; },
     "WHERE event_isFolder = 2147483647 ", ""},
    {"SizeZero", [](FileOpFilter& filter) { filter.event_filesize = 0; }, "WHERE event_filesize = 0 ", "1"},
    {"Size", [](FileOpFilter& filter) { filter.event_filesize = 100; }, "WHERE event_filesize = 100 ", "2"},
    {"SizeNegative", [](FileOpFilter& filter) { filter.event_filesize = -5; }, "", "1,2,3"},
    {"Action", [](FileOpFilter& filter) { filter.event_action = 35; }, "WHERE event_action = 35 ", "3"},
    {"ActionZero", [](FileOpFilter& filter) { filter.event_action = 0; }, "", "1,2,3"},
    {"ActionNegative", [](FileOpFilter& filter) { filter.event_action = INT_MIN; }, "", "1,2,3"},
    {"UserInEitherCase", [](FileOpFilter& filter) { put(filter.event_user, "bOB"); }, "WHERE event_user LIKE '%bOB%' ",
     "1,2"},
    {"TypeAndUser",
     [](FileOpFilter& filter) {
       filter.event_type = 2;
       put(filter.event_user, "bob");
     },
     "WHERE event_type = 1 AND event_user LIKE '%bob%' ", "2"},
    {"Address", [](FileOpFilter& filter) { put(filter.event_ip, "10.0"); }, "WHERE event_ip LIKE '%10.0%' ", "1,2,3"},
    {"OldPath", [](FileOpFilter& filter) { filter.event_oldfilepath = "/a/old"; },
     "WHERE event_oldfilepath LIKE '%/a/old%' ", "1"},
    {"EmptyOldPath", [](FileOpFilter& filter) { filter.event_oldfilepath = ""; }, "WHERE event_oldfilepath LIKE '%%' ",
     "1,3"},
    {"Path", [](FileOpFilter& filter) { filter.event_filepath = "PHOTO"; }, "WHERE event_filepath LIKE '%PHOTO%' ",
     "1,2"},
    {"EmptyPath", [](FileOpFilter& filter) { filter.event_filepath = ""; }, "WHERE event_filepath LIKE '%%' ", "1,2,3"},
    {"PathWithWildcards", [](FileOpFilter& filter) { filter.event_filepath = "/s%p_otos"; },
     "WHERE event_filepath LIKE '%/s%p_otos%' ", "2"},
    {"PathWithDoubledQuote", [](FileOpFilter& filter) { filter.event_filepath = "it''s"; },
     "WHERE event_filepath LIKE '%it''s%' ", "3"},
    {"Computer", [](FileOpFilter& filter) { put(filter.event_comp, "pc1"); }, "WHERE event_comp LIKE '%pc1%' ", "1,2"},
    {"DeviceIsComparedWithTheComputersText",
     [](FileOpFilter& filter) {
       put(filter.event_duid, "x");
       put(filter.event_comp, "pc1");
     },
     "WHERE event_comp LIKE '%pc1%' AND event_duid = 'pc1' ", "1"},
    {"DeviceWithoutComputer", [](FileOpFilter& filter) { put(filter.event_duid, "pc1"); }, "WHERE event_duid = '' ",
     "2"},
    {"Description", [](FileOpFilter& filter) { put(filter.event_desc, "upload"); }, "WHERE event_desc LIKE '%upload%' ",
     "1"},
    {"Everything",
     [](FileOpFilter& filter) {
       filter.event_type = 1;
       put(filter.date_from, "2020-01-01");
       put(filter.date_to, "2020-01-02");
       put(filter.event_user, "b");
       put(filter.event_ip, "1");
       filter.event_oldfilepath = "old";
       filter.event_filepath = "photo";
       filter.event_isFolder = 2;
       filter.event_action = 1;
       filter.event_filesize = 0;
       put(filter.event_comp, "pc1");
       put(filter.event_duid, "any");
       put(filter.event_desc, "up");
     },
     "WHERE event_type = 0 AND event_isFolder = 2 AND event_filesize = 0 AND event_action = 1 AND event_user LIKE "
     "'%b%' AND event_ip LIKE '%1%' AND event_oldfilepath LIKE '%old%' AND event_filepath LIKE '%photo%' AND "
     "event_comp LIKE '%pc1%' AND event_duid = 'pc1' AND event_desc LIKE '%up%' AND event_date >= '2020-01-01' AND "
     "event_date <= '2020-01-02' ",
     "1"},
};

void PrintTo(const Filter& filter, std::ostream* out) {
  *out << filter.name;
}

void put_three_entries() {
  sql(kLog,
      "INSERT INTO PAVO2LOG_EVENT VALUES "
      "(1, 0, '2020-01-02', '09:00:00', 'Bob', '10.0.0.1', '/A/Old', '/share/Photo.jpg', 2, 1, 0, 'pc1', 'pc1', "
      "'Uploaded', '', 0), "
      "(2, 1, '2020-01-03', '09:00:00', 'bobby', '10.0.0.2', NULL, '/share/photos', 1, 2, 100, 'PC10', '', "
      "'', '', 0), "
      "(3, 1, '2020-01-04', '09:00:00', 'ann', '192.168.10.0', '/b', '/other/it''s', 0, 35, -5, 'mac', 'PC1', "
      "'removed', '', 0);");
}

class FileOpFilterOf : public FileOpQuery, public testing::WithParamInterface<Filter> {
 protected:
  void SetUp() override {
    FileOpQuery::SetUp();
    put_three_entries();
    GetParam().set(filter);
  }

  FileOpFilter filter = any();
};

INSTANTIATE_TEST_SUITE_P(FileOpQuery, FileOpFilterOf, testing::ValuesIn(kFilters),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(FileOpFilterOf, NarrowsAListing) {
  const std::string before = bytes_of(filter);
  EXPECT_EQ(pavo2log_event_query_by(kLog, &collect, &filter, 12, 0, 0, &listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of_listing(GetParam().where, "ORDER BY event_id", ""));
  EXPECT_EQ(ids(listing), GetParam().found);
  EXPECT_TRUE(bytes_of(filter) == before);
}

TEST_P(FileOpFilterOf, NarrowsACount) {
  EXPECT_EQ(list_by(filter, listing), ANNAL_OK);
  sqlite.reset();
  EXPECT_EQ(count_by(filter), static_cast<int>(listing.rows.size()));
  EXPECT_EQ(sqlite.calls(), calls_of_count(GetParam().where));
}

// ---- dates ----

constexpr std::time_t kMidnight = 1705359600;  // 2024-01-16 00:00:00; still the previous day in UTC

struct DateRange {
  const char* name;
  const char* from;
  const char* to;
  std::time_t now;
  const char* where;
  const char* found;  // the result for one entry each on 14 to 17 January 2024
};

constexpr DateRange kDateRanges[] = {
    {"None", "", "", kMidnight, "", "14,15,16,17"},
    {"Both", "2024-01-14", "2024-01-15", kMidnight, "WHERE event_date >= '2024-01-14' AND event_date <= '2024-01-15' ",
     "14,15"},
    {"OneDay", "2024-01-15", "2024-01-15", kMidnight,
     "WHERE event_date >= '2024-01-15' AND event_date <= '2024-01-15' ", "15"},
    {"Inverted", "2024-01-16", "2024-01-15", kMidnight,
     "WHERE event_date >= '2024-01-16' AND event_date <= '2024-01-15' ", ""},
    {"FromBeforeMidnight", "2024-01-15", "", kMidnight - 1,
     "WHERE event_date >= '2024-01-15' AND event_date <= '2024-01-15' ", "15"},
    {"FromAtMidnight", "2024-01-15", "", kMidnight, "WHERE event_date >= '2024-01-15' AND event_date <= '2024-01-16' ",
     "15,16"},
    {"FromTomorrow", "2024-01-17", "", kMidnight, "WHERE event_date >= '2024-01-17' AND event_date <= '2024-01-16' ",
     ""},
    {"ToYesterday", "", "2024-01-15", kMidnight, "WHERE event_date >= '2024-01-16' AND event_date <= '2024-01-15' ",
     ""},
    {"ToTodayBeforeMidnight", "", "2024-01-15", kMidnight - 1,
     "WHERE event_date >= '2024-01-15' AND event_date <= '2024-01-15' ", "15"},
    {"ToTomorrow", "", "2024-01-17", kMidnight, "WHERE event_date >= '2024-01-16' AND event_date <= '2024-01-17' ",
     "16,17"},
    {"InSummer", "2024-01-15", "", 1721080800 /* 2024-07-16 00:00:00 */,
     "WHERE event_date >= '2024-01-15' AND event_date <= '2024-07-16' ", "15,16,17"},
    {"OnAOneDigitDay", "2024-01-15", "", 1706828399 /* 2024-02-01 23:59:59 */,
     "WHERE event_date >= '2024-01-15' AND event_date <= '2024-02-01' ", "15,16,17"},
    {"AnyText", "x", "y", kMidnight, "WHERE event_date >= 'x' AND event_date <= 'y' ", ""},
};

void PrintTo(const DateRange& range, std::ostream* out) {
  *out << range.name;
}

class FileOpDateRange : public FileOpQuery, public testing::WithParamInterface<DateRange> {};

INSTANTIATE_TEST_SUITE_P(Of, FileOpDateRange, testing::ValuesIn(kDateRanges),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(FileOpDateRange, NarrowsAListingAndACount) {
  sql(kLog,
      "INSERT INTO PAVO2LOG_EVENT (event_id, event_date) VALUES (14, '2024-01-14'), (15, '2024-01-15'), "
      "(16, '2024-01-16'), (17, '2024-01-17');");
  Clock::stop_at(GetParam().now);
  FileOpFilter filter = any();
  put(filter.date_from, GetParam().from);
  put(filter.date_to, GetParam().to);
  EXPECT_EQ(list_by(filter, listing), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), calls_of_listing(GetParam().where, "ORDER BY event_id", ""));
  EXPECT_EQ(ids(listing), GetParam().found);
  EXPECT_EQ(count_by(filter), static_cast<int>(listing.rows.size()));
}

// ---- texts that break the statement ----

struct Text {
  const char* name;
  void (*put_quote)(FileOpFilter& filter);
};

constexpr Text kTexts[] = {
    {"User", [](FileOpFilter& filter) { put(filter.event_user, "it's"); }},
    {"Address", [](FileOpFilter& filter) { put(filter.event_ip, "it's"); }},
    {"OldPath", [](FileOpFilter& filter) { filter.event_oldfilepath = "it's"; }},
    {"Path", [](FileOpFilter& filter) { filter.event_filepath = "it's"; }},
    {"Computer", [](FileOpFilter& filter) { put(filter.event_comp, "it's"); }},
    {"Description", [](FileOpFilter& filter) { put(filter.event_desc, "it's"); }},
    {"DateFrom", [](FileOpFilter& filter) { put(filter.date_from, "it's"); }},
    {"DateTo", [](FileOpFilter& filter) { put(filter.date_to, "it's"); }},
};

void PrintTo(const Text& text, std::ostream* out) {
  *out << text.name;
}

class FileOpFilterText : public FileOpQuery, public testing::WithParamInterface<Text> {};

INSTANTIATE_TEST_SUITE_P(In, FileOpFilterText, testing::ValuesIn(kTexts),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(FileOpFilterText, FailsTheStatementWithAQuote) {
  put_three_entries();
  FileOpFilter filter = any();
  GetParam().put_quote(filter);
  EXPECT_EQ(list_by(filter, listing), ANNAL_QUERY_FAILED);
  EXPECT_EQ(count_by(filter), ANNAL_QUERY_FAILED);
  EXPECT_TRUE(listing.rows.empty());
}

TEST_F(FileOpQuery, ReadsNoTextOfTheDevice) {
  put_three_entries();
  FileOpFilter filter = any();
  put(filter.event_duid, "it's");
  EXPECT_EQ(count_by(filter), 1);
}

// ---- filters that outgrow their room ----

// The longest conditions that fit, without the terminator.
constexpr std::size_t kRoom = 2047;

std::string path_condition(const std::string& path) {
  return "AND event_filepath LIKE '%" + path + "%' ";
}

// A path whose condition has that length.
std::string path_for(std::size_t length) {
  return std::string(length - path_condition("").size(), 'p');
}

TEST_F(FileOpQuery, AcceptsConditionsThatJustFit) {
  for (const std::size_t length : {kRoom - 1, kRoom}) {
    const std::string path = path_for(length);
    sql(kLog, "INSERT INTO PAVO2LOG_EVENT (event_filepath) VALUES ('/" + path + "');");
    FileOpFilter filter = any();
    filter.event_filepath = path.c_str();
    sqlite.reset();
    EXPECT_GE(count_by(filter), 1);
    EXPECT_EQ(sqlite.statements(), Calls({count_text("WHERE " + path_condition(path).substr(4))}));
    filter.event_type = 3;
    sqlite.reset();
    EXPECT_EQ(list_by(filter, listing), ANNAL_OK);
    EXPECT_EQ(sqlite.statements(),
              Calls({listing_text("WHERE event_type = 2 " + path_condition(path), "ORDER BY event_id", "")}));
  }
}

// ---- what the callback gets ----

TEST_F(FileOpQuery, ListsSixteenColumnsInTableOrder) {
  sql(kLog,
      "INSERT INTO PAVO2LOG_EVENT VALUES (4, 2, '2020-01-02', '10:00:00', 'ann', '10.0.0.1', '/old', '/new', 1, 35, "
      "4096, 'pc1', 'phone', 'renamed', 'sub', 12);");
  const Row names = {"event_id",       "event_type",   "event_date",        "event_time",
                     "event_user",     "event_ip",     "event_oldfilepath", "event_filepath",
                     "event_isFolder", "event_action", "event_filesize",    "event_comp",
                     "event_duid",     "event_desc",   "sub_user",          "pid"};
  const Row entry = {"4", "2",  "2020-01-02", "10:00:00", "ann",   "10.0.0.1", "/old", "/new",
                     "1", "35", "4096",       "pc1",      "phone", "renamed",  "sub",  "12"};
  EXPECT_EQ(pavo2log_event_query(kLog, &collect, 0, 0, 0, 0, &listing), ANNAL_OK);
  EXPECT_EQ(listing.names, names);
  EXPECT_EQ(listing.rows, Rows({entry}));
  Listing filtered;
  EXPECT_EQ(list_by(any(), filtered), ANNAL_OK);
  EXPECT_EQ(filtered.names, names);
  EXPECT_EQ(filtered.rows, Rows({entry}));
}

TEST_F(FileOpQuery, PassesItsContextUnchanged) {
  put_entries(5);
  FileOpFilter filter = any();
  int listed = 100;
  EXPECT_EQ(pavo2log_event_query(kLog, &count_rows, 0, 0, 0, 0, &listed), ANNAL_OK);
  EXPECT_EQ(listed, 105);
  EXPECT_EQ(pavo2log_event_query_by(kLog, &count_rows, &filter, 0, 0, 0, &listed), ANNAL_OK);
  EXPECT_EQ(listed, 110);
}

TEST_F(FileOpQuery, AcceptsANullCallback) {
  put_entries(3);
  FileOpFilter filter = any();
  EXPECT_EQ(pavo2log_event_query(kLog, nullptr, 0, 0, 0, 0, nullptr), ANNAL_OK);
  EXPECT_EQ(pavo2log_event_query_by(kLog, nullptr, &filter, 0, 0, 0, nullptr), ANNAL_OK);
}

TEST_F(FileOpQuery, FailsIfItsCallbackStopsItAfterDeliveringTheRowsBefore) {
  put_entries(5);
  FileOpFilter filter = any();
  int listed = 0;
  EXPECT_EQ(pavo2log_event_query(kLog, &stop_at_third, 0, 0, 0, 0, &listed), ANNAL_QUERY_FAILED);
  EXPECT_EQ(listed, 3);
  listed = 0;
  EXPECT_EQ(pavo2log_event_query_by(kLog, &stop_at_third, &filter, 0, 0, 0, &listed), ANNAL_QUERY_FAILED);
  EXPECT_EQ(listed, 3);
}

TEST_F(FileOpQuery, LetsItsCallbackCallTheLibrary) {
  put_entries(5);
  int counted = 0;
  const annal_row_callback count = [](void* context, int, char**, char**) {
    *static_cast<int*>(context) = count_of(0);
    return 0;
  };
  EXPECT_EQ(pavo2log_event_query(kLog, count, 0, 0, 0, 0, &counted), ANNAL_OK);
  EXPECT_EQ(counted, 5);
}

// ---- counts ----

TEST_F(FileOpQuery, CountsEveryEntry) {
  put_entries(1000);
  EXPECT_EQ(count_of(0), 1000);
  EXPECT_EQ(count_of(1), 334);
  EXPECT_EQ(count_by(any()), 1000);
}

TEST_F(FileOpQuery, ReturnsANegativeCount) {
  put_entries(3);
  sqlite.answer_next(-7);
  EXPECT_EQ(count_of(0), -7);
  sqlite.answer_next(-7);
  EXPECT_EQ(count_by(any()), -7);
}

TEST_F(FileOpQuery, FailsToCountWithoutARow) {
  put_entries(3);
  sqlite.fail("step");
  EXPECT_EQ(count_of(0), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls(), calls_of_count(""));
}

TEST_F(FileOpQuery, IgnoresTheUnusedArguments) {
  put_entries(3);
  FileOpFilter filter = any();
  const auto* const nowhere = reinterpret_cast<const void*>(1);
  EXPECT_EQ(pavo2log_event_query_count(kLog, 0, nowhere, nowhere, nowhere, nowhere), 3);
  EXPECT_EQ(pavo2log_event_query_count_by(kLog, &filter, nowhere, nowhere, nowhere, nowhere), 3);
}

// ---- bad arguments ----

class FileOpQueryArguments : public ApplianceTest {
 protected:
  void TearDown() override {
    EXPECT_TRUE(listing.rows.empty());
    EXPECT_EQ(sqlite.calls(), Calls());
    EXPECT_FALSE(exists(kLog));
    ApplianceTest::TearDown();
  }

  void expect_bad(const FileOpFilter& filter) {
    EXPECT_EQ(list_by(filter, listing), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(count_by(filter), ANNAL_BAD_ARGUMENT);
  }

  Listing listing;
};

TEST_F(FileOpQueryArguments, RefuseANullFilter) {
  EXPECT_EQ(pavo2log_event_query_by(kLog, &collect, nullptr, 0, 0, 0, &listing), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(pavo2log_event_query_count_by(kLog, nullptr, nullptr, nullptr, nullptr, nullptr), ANNAL_BAD_ARGUMENT);
}

TEST_F(FileOpQueryArguments, RefuseSortAbove21) {
  for (const unsigned sort : {22U, 23U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(sort);
    EXPECT_EQ(pavo2log_event_query(kLog, &collect, sort, 0, 0, 0, &listing), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(list_by(any(), listing, sort), ANNAL_BAD_ARGUMENT);
  }
}

TEST_F(FileOpQueryArguments, RefuseTypeAbove3) {
  for (const unsigned type : {4U, 5U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(type);
    EXPECT_EQ(pavo2log_event_query(kLog, &collect, 0, 0, 0, type, &listing), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(count_of(type), ANNAL_BAD_ARGUMENT);
    FileOpFilter filter = any();
    filter.event_type = type;
    expect_bad(filter);
  }
}

TEST_F(FileOpQueryArguments, RefuseANegativeOrInvertedRange) {
  const struct {
    int start;
    int end;
  } ranges[] = {{6, 5}, {1, 0}, {INT_MAX, 0}, {-1, 0}, {-1, 5}, {-5, -3}, {0, -1}, {-1, -1}, {INT_MIN, INT_MAX}};
  for (const auto& [start, end] : ranges) {
    SCOPED_TRACE(std::to_string(start) + " to " + std::to_string(end));
    EXPECT_EQ(pavo2log_event_query(kLog, &collect, 0, start, end, 0, &listing), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(list_by(any(), listing, 0, start, end), ANNAL_BAD_ARGUMENT);
  }
}

TEST_F(FileOpQueryArguments, RefuseAPathThatDoesNotFit) {
  for (const std::size_t length : {kRoom + 1, kRoom + 2, 2 * kRoom, std::size_t{4096}, std::size_t{1000000}}) {
    SCOPED_TRACE(length);
    const std::string path = path_for(length);
    FileOpFilter filter = any();
    filter.event_filepath = path.c_str();
    expect_bad(filter);
    filter = any();
    // The same path, in a column with a name three letters longer.
    filter.event_oldfilepath = path.c_str();
    expect_bad(filter);
  }
}

struct LastCondition {
  const char* name;
  void (*set)(FileOpFilter& filter);
  const char* text;
};

// Each condition after a path, and the folder's before it.
constexpr LastCondition kLastConditions[] = {
    {"Folder", [](FileOpFilter& filter) { filter.event_isFolder = 1; }, "AND event_isFolder = 1 "},
    {"Computer", [](FileOpFilter& filter) { put(filter.event_comp, "c"); }, "AND event_comp LIKE '%c%' "},
    {"Device", [](FileOpFilter& filter) { put(filter.event_duid, "d"); }, "AND event_duid = '' "},
    {"Description", [](FileOpFilter& filter) { put(filter.event_desc, "d"); }, "AND event_desc LIKE '%d%' "},
    {"Dates",
     [](FileOpFilter& filter) {
       put(filter.date_from, "2024-01-01");
       put(filter.date_to, "2024-01-02");
     },
     "AND event_date >= '2024-01-01' AND event_date <= '2024-01-02' "},
};

void PrintTo(const LastCondition& condition, std::ostream* out) {
  *out << condition.name;
}

class FileOpQueryRoom : public FileOpQuery, public testing::WithParamInterface<LastCondition> {};

INSTANTIATE_TEST_SUITE_P(For, FileOpQueryRoom, testing::ValuesIn(kLastConditions),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(FileOpQueryRoom, EndsAfterItsLastByte) {
  const std::string path = path_for(kRoom - std::strlen(GetParam().text));
  FileOpFilter filter = any();
  filter.event_filepath = path.c_str();
  GetParam().set(filter);
  EXPECT_EQ(count_by(filter), 0);
  const std::string statement = sqlite.statements().at(0);
  EXPECT_EQ(statement.size(), count_text("WHERE ").size() + kRoom - 4);
  EXPECT_NE(statement.find(std::string(GetParam().text).substr(4)), std::string::npos);
  const std::string longer = path + "p";
  filter.event_filepath = longer.c_str();
  sqlite.reset();
  EXPECT_EQ(count_by(filter), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(list_by(filter, listing), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(sqlite.calls(), Calls());
}

// A later condition that fits does not replace an earlier one that does not.
TEST_F(FileOpQueryArguments, RefuseALongPathDespiteALaterConditionThatFits) {
  const std::string path = path_for(kRoom + 1);
  FileOpFilter filter = any();
  filter.event_filepath = path.c_str();
  put(filter.event_desc, "d");
  expect_bad(filter);
}

// So the bytes after a field, or after the filter, are never read as its text.
TEST_F(FileOpQueryArguments, RefuseAnUnterminatedText) {
  const struct {
    std::size_t offset;
    std::size_t size;
  } fields[] = {{offsetof(FileOpFilter, date_from), 11},   {offsetof(FileOpFilter, date_to), 11},
                {offsetof(FileOpFilter, event_user), 65},  {offsetof(FileOpFilter, event_ip), 65},
                {offsetof(FileOpFilter, event_comp), 65},  {offsetof(FileOpFilter, event_duid), 65},
                {offsetof(FileOpFilter, event_desc), 1025}};
  for (const auto& [offset, size] : fields) {
    SCOPED_TRACE(offset);
    FileOpFilter filter = any();
    std::memset(reinterpret_cast<char*>(&filter) + offset, 'x', size);
    expect_bad(filter);
  }
}

}  // namespace
}  // namespace annal::test
