// What the header for C++ lists: filters by name, rows in functions, pages and ranges, and what is locked meanwhile.
#include <sqlite3.h>

#include <algorithm>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Corix_annal.hpp"
#include "common/paths.h"
#include "tests/support/appliance.h"

namespace annal::test {
namespace {

using namespace std::string_literals;
using Ids = std::vector<std::int64_t>;

constexpr char kFileOpLog[] = "/etc/logs/operations.db";

// Fails at once where somebody holds a lock.
bool can_write(const char* path) {
  sqlite3* log = nullptr;
  const bool can = sqlite3_open(path, &log) == SQLITE_OK &&
                   sqlite3_exec(log, "BEGIN EXCLUSIVE; ROLLBACK;", nullptr, nullptr, nullptr) == SQLITE_OK;
  sqlite3_close(log);
  return can;
}

template <typename Range>
Ids ids_of(Range&& rows) {
  Ids ids;
  for (const auto& row : rows) {
    ids.push_back(row.id());
  }
  return ids;
}

// ---- filters ----

class CppFilter : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_TRUE(event::create());
    ASSERT_TRUE(conn::create());
    ASSERT_TRUE(notice::create());
    ASSERT_TRUE(operations.create());
  }
  void TearDown() override {
    event::match_users_exactly(false);
    conn::match_users_exactly(false);
    ApplianceTest::TearDown();
  }

  fileop::Log operations{kFileOpLog};
};

TEST_F(CppFilter, OfEventsPicksByEachField) {
  ASSERT_TRUE(event::add({.level = Level::information, .message = "other", .user = "zoe", .time = 1700000000}));
  ASSERT_TRUE(event::add({.level = Level::error,
                          .message = "Fan 2's gone.",
                          .user = "ann",
                          .address = "10.0.0.5",
                          .computer = "pc1",
                          .time = 1600000000,
                          .app_id = "A002",
                          .app = "Storage",
                          .category_id = "C001",
                          .category = "Volumes",
                          .client_id = "id-3",
                          .client_app = "Browser",
                          .client_agent = "Mozilla"}));
  const event::Filter filters[] = {
      {.level = Level::error},
      {.period = {.date_from = "2020-09-13", .date_to = "2020-09-13"}},
      {.period = {.date_to = "2020-09-13"}},
      {.period = {.date_from = "2020-09-13", .date_to = "2020-09-13", .time_from = "14:26:40", .time_to = "14:26:40"}},
      {.period = {.date_to = "2020-09-13", .time_to = "14:26:40"}},
      {.user = "nn"},
      {.address = "0.0.5"},
      {.computer = "pc"},
      {.message = "2's"},
      {.app_id = "A002"},
      {.app = "Storage"},
      {.category_id = "C001"},
      {.category = "Volumes"},
      {.client_id = "id-3"},
      {.client_app = "Browser"},
      {.client_agent = "Mozilla"},
      // The library refuses these two by themselves.
      {.category_id = "C001", .category = "Volumes"},
      {.app = "Storage", .client_app = "Browser"},
  };
  int number = 0;
  for (const event::Filter& filter : filters) {
    EXPECT_EQ(ids_of(event::page(filter).value()), Ids{2}) << "filter " << number;
    EXPECT_EQ(event::count(filter).value(), 1) << "filter " << number;
    ++number;
  }
  EXPECT_EQ(*event::count(event::Filter{}
                              .with_level(Level::error)
                              .with_dates("2020-01-01", "2020-12-31")
                              .with_times("00:00:00", "23:59:59")
                              .with_user("ann")
                              .with_address("10.")
                              .with_computer("pc1")
                              .with_message("Fan")
                              .with_app_id("A002")
                              .with_app("Storage")
                              .with_category_id("C001")
                              .with_category("Volumes")
                              .with_client_id("id-3")
                              .with_client_app("Browser")
                              .with_client_agent("Mozilla")),
            1);
  EXPECT_EQ(*event::count({.user = "x' OR '1'='1"}), 0);
  event::match_users_exactly(true);
  EXPECT_EQ(*event::count({.user = "nn"}), 0);
  EXPECT_EQ(*event::count({.user = "ann"}), 1);
}

TEST_F(CppFilter, OfAPeriodIsOpenAtTheEndThatIsLeftOut) {
  for (const std::int64_t time : {1600000000, 1700000000}) {
    ASSERT_TRUE(event::add({.time = time}));
  }
  EXPECT_EQ(*event::count({.period = {.date_from = "2020-09-14"}}), 1);
  EXPECT_EQ(*event::count({.period = {.date_from = "2020-09-13"}}), 2);
  EXPECT_EQ(*event::count({.period = {.date_from = "2020-09-13", .time_from = "14:26:41"}}), 1);
  EXPECT_EQ(event::count({.period = {.time_from = "14:26:41"}}).code(), Code::bad_argument);
  EXPECT_EQ(conn::count({.period = {.time_to = "14:26:41"}}).code(), Code::bad_argument);
}

TEST_F(CppFilter, WithATextThatCannotBeSearchedForIsRefused) {
  sqlite.reset();
  EXPECT_EQ(event::count({.user = "a\0b"s}).code(), Code::bad_argument);
  EXPECT_EQ(event::page({.user = "a\0b"s}).code(), Code::bad_argument);
  EXPECT_EQ(event::list({.user = "a\0b"s}, [](const event::Row&) {}).code(), Code::bad_argument);
  EXPECT_EQ(event::groups(event::GroupBy::user, {.user = "a\0b"s}).code(), Code::bad_argument);
  EXPECT_EQ(event::rows({.user = "a\0b"s}).status().code(), Code::bad_argument);
  EXPECT_EQ(event::count({.level = static_cast<Level>(-1)}).code(), Code::bad_argument);
  EXPECT_EQ(conn::count({.level = static_cast<Level>(3)}).code(), Code::bad_argument);
  EXPECT_EQ(conn::count({.service = 13}).code(), Code::bad_argument);
  EXPECT_EQ(operations.count({.folder = -1}).code(), Code::bad_argument);
  EXPECT_EQ(operations.count({.user = std::string(65, 'x')}).code(), Code::too_long);
  EXPECT_EQ(SqliteTrace::calls(), Calls{});
  const std::string long_text(5000, 'x');
  EXPECT_EQ(*event::count({.user = long_text}), 0);
}

TEST_F(CppFilter, OfConnectionsPicksByEachField) {
  ASSERT_TRUE(conn::add({.user = "zoe"}));
  ASSERT_TRUE(conn::add({.level = Level::error,
                         .user = "o'neil",
                         .address = "10.0.0.5",
                         .computer = "pc1",
                         .resource = "/share/a",
                         .service = 3,
                         .action = 10,
                         .app = "Files",
                         .outcome = Outcome::failed,
                         .client_id = "id-3",
                         .client_app = "Browser",
                         .client_agent = "Mozilla"}));
  sql(kConnLog, "UPDATE ANNAL_CONN SET conn_date = '2020-01-02', conn_time = '10:00:00' WHERE conn_id = 2;");
  const conn::Filter filters[] = {
      {.level = Level::error},
      {.period = {.date_from = "2020-01-02", .date_to = "2020-01-02"}},
      {.period = {.date_to = "2020-01-02"}},
      {.period = {.date_to = "2020-01-02", .time_to = "10:00:00"}},
      {.user = "o'n"},
      {.address = "0.0.5"},
      {.computer = "pc1"},
      {.resource = "share"},
      {.service = 3},
      {.action = 10},
      {.app = "Files"},
      {.failed_only = true},
      {.client_id = "id-3"},
      {.client_app = "Browser"},
      {.client_agent = "Mozilla"},
  };
  int number = 0;
  for (const conn::Filter& filter : filters) {
    EXPECT_EQ(ids_of(conn::page(filter).value()), Ids{2}) << "filter " << number;
    EXPECT_EQ(conn::count(filter).value(), 1) << "filter " << number;
    ++number;
  }
  EXPECT_EQ(*conn::count(conn::Filter{}
                             .with_level(Level::error)
                             .with_dates("2020-01-01", "2020-12-31")
                             .with_times("00:00:00", "23:59:59")
                             .with_user("neil")
                             .with_address("10.")
                             .with_computer("pc1")
                             .with_resource("a")
                             .with_service(3)
                             .with_action(10)
                             .with_app("Files")
                             .with_failed_only()
                             .with_client_id("id-3")
                             .with_client_app("Browser")
                             .with_client_agent("Mozilla")),
            1);
  conn::match_users_exactly(true);
  EXPECT_EQ(*conn::count({.user = "neil"}), 0);
  EXPECT_EQ(*conn::count({.user = "o'neil"}), 1);
}

TEST_F(CppFilter, OfNoticesPicksByEachField) {
  ASSERT_TRUE(notice::add({.severity = Severity::debug, .facility = 1}));
  ASSERT_TRUE(notice::add({.severity = Severity::error, .facility = 2}));
  sql(kNoticeLog, "UPDATE ANNAL_NOTICE SET time = 1600000000 WHERE id = 2;");
  const notice::Filter filters[] = {
      {.to = 1600000000},
      {.from = 1600000000, .to = 1600000000},
      {.severity = Severity::error},
      {.facility = 2},
      {.severity = Severity::warning, .facility = 2},
      {.from = -1, .to = 1700000000, .severity = Severity::warning, .facility = 2},
  };
  int number = 0;
  for (const notice::Filter& filter : filters) {
    EXPECT_EQ(ids_of(notice::page(filter).value()), Ids{2}) << "filter " << number;
    EXPECT_EQ(notice::count(filter).value(), 1) << "filter " << number;
    ++number;
  }
  EXPECT_EQ(*notice::count({.from = 1600000001}), 1);
  EXPECT_EQ(*notice::count({.from = 0, .to = INT64_MAX}), 2);
  EXPECT_EQ(*notice::count(notice::Filter{}.with_times(0, 1700000000).with_severity(Severity::error).with_facility(2)),
            1);
}

TEST_F(CppFilter, OfFileOperationsPicksByEachField) {
  ASSERT_TRUE(operations.add({.size = 5}));
  ASSERT_TRUE(operations.add({.level = Level::error,
                              .time = 1600000000,
                              .user = "o'neil",
                              .address = "10.0.0.5",
                              .old_path = "/share/it's",
                              .path = "/share/b's",
                              .folder = 1,
                              .action = 35,
                              .size = 0,
                              .computer = "pc's",
                              .message = "it's moved"}));
  const fileop::Filter filters[] = {
      {.level = Level::error},
      {.date_from = "2020-09-13", .date_to = "2020-09-13"},
      {.user = "o'n"},
      {.address = "0.0.5"},
      {.old_path = "it's"},
      {.path = "b's"},
      {.folder = 1},
      {.action = 35},
      {.size = 0},
      {.computer = "pc's"},
      {.message = "it's"},
  };
  int number = 0;
  for (const fileop::Filter& filter : filters) {
    EXPECT_EQ(ids_of(operations.page(filter).value()), Ids{2}) << "filter " << number;
    EXPECT_EQ(operations.count(filter).value(), 1) << "filter " << number;
    ++number;
  }
  EXPECT_EQ(*operations.count({.user = "x' OR '1' = '1"}), 0);
  EXPECT_EQ(*operations.count(fileop::Filter{}
                                  .with_level(Level::error)
                                  .with_dates("2020-09-13", "2020-09-13")
                                  .with_user("neil")
                                  .with_address("10.")
                                  .with_old_path("share")
                                  .with_path("share")
                                  .with_folder(1)
                                  .with_action(35)
                                  .with_size(0)
                                  .with_computer("pc")
                                  .with_message("moved")),
            1);
}

// ---- rows ----

TEST_F(CppFilter, GivesRowsWithTheirColumnsByName) {
  ASSERT_TRUE(event::add({.level = Level::warning,
                          .message = "text",
                          .user = "ann",
                          .address = "10.0.0.5",
                          .computer = "pc1",
                          .message_id = "m7",
                          .time = 1600000000,
                          .app_id = "A002",
                          .app = "Storage",
                          .category_id = "C001",
                          .category = "Volumes",
                          .client_id = "id-3",
                          .client_app = "Browser",
                          .client_agent = "Mozilla"}));
  int rows = 0;
  ASSERT_TRUE(event::list({}, [&rows](const event::Row& row) {
    ++rows;
    EXPECT_EQ(row.id(), 1);
    EXPECT_EQ(row.level(), Level::warning);
    EXPECT_EQ(row.date(), "2020-09-13");
    EXPECT_EQ(row.time(), "14:26:40");
    EXPECT_EQ(row.user(), "ann");
    EXPECT_EQ(row.address(), "10.0.0.5");
    EXPECT_EQ(row.computer(), "pc1");
    EXPECT_EQ(row.message(), "text");
    EXPECT_EQ(row.message_id(), "m7");
    EXPECT_EQ(row.time_stamp(), 1600000000);
    EXPECT_EQ(row.app_id(), "A002");
    EXPECT_EQ(row.app(), "Storage");
    EXPECT_EQ(row.category_id(), "C001");
    EXPECT_EQ(row.category(), "Volumes");
    EXPECT_EQ(row.client_id(), "id-3");
    EXPECT_EQ(row.client_app(), "Browser");
    EXPECT_EQ(row.client_agent(), "Mozilla");
    EXPECT_EQ(row.columns(), 17);
    EXPECT_EQ(row[17].data(), nullptr);
    EXPECT_EQ(row[-1].data(), nullptr);
  }));
  EXPECT_EQ(rows, 1);

  ASSERT_TRUE(conn::add({.level = Level::error,
                         .user = "ann",
                         .address = "10.0.0.5",
                         .computer = "pc1",
                         .resource = "/share/a",
                         .service = 3,
                         .action = 10,
                         .app = "Files",
                         .outcome = Outcome::failed,
                         .client_id = "id-3",
                         .client_app = "Browser",
                         .client_agent = "Mozilla"}));
  sql(kConnLog, "UPDATE ANNAL_CONN SET conn_date = '2020-01-02', conn_time = '10:00:00', conn_comp = NULL;");
  const Page<conn::Row> connections = conn::page().value();
  ASSERT_EQ(connections.size(), 1U);
  const conn::Row connection = *connections.begin();
  EXPECT_EQ(connection.id(), 1);
  EXPECT_EQ(connection.level(), Level::error);
  EXPECT_EQ(connection.date(), "2020-01-02");
  EXPECT_EQ(connection.time(), "10:00:00");
  EXPECT_EQ(connection.user(), "ann");
  EXPECT_EQ(connection.address(), "10.0.0.5");
  EXPECT_EQ(connection.computer().data(), nullptr);
  EXPECT_EQ(connection.resource(), "/share/a");
  EXPECT_EQ(connection.service(), 3);
  EXPECT_EQ(connection.action(), 10);
  EXPECT_EQ(connection.app(), "Files");
  EXPECT_EQ(connection.outcome(), Outcome::failed);
  EXPECT_EQ(connection.client_id(), "id-3");
  EXPECT_EQ(connection.client_app(), "Browser");
  EXPECT_EQ(connection.client_agent(), "Mozilla");

  sql(kNoticeLog,
      "INSERT INTO ANNAL_NOTICE VALUES (1, 2, 3, 4, 'service', 5, 6, 7, 'ann', '10.0.0.5', 'pc1', 'text', "
      "'m8', 9, 'variables', 'name', 10, 11, 12, 'link', 'option', 'title');");
  const Page<notice::Row> notices = notice::page().value();
  const notice::Row one = *notices.begin();
  EXPECT_EQ(one.id(), 1);
  EXPECT_EQ(one.severity(), Severity::critical);
  EXPECT_EQ(one.server(), 3);
  EXPECT_EQ(one.action(), 4);
  EXPECT_EQ(one.service(), "service");
  EXPECT_EQ(one.facility(), 5);
  EXPECT_EQ(one.time(), 6);
  EXPECT_EQ(one.end_time(), 7);
  EXPECT_EQ(one.user(), "ann");
  EXPECT_EQ(one.address(), "10.0.0.5");
  EXPECT_EQ(one.client(), "pc1");
  EXPECT_EQ(one.message(), "text");
  EXPECT_EQ(one.message_code(), "m8");
  EXPECT_EQ(one.variable_count(), 9);
  EXPECT_EQ(one.variables(), "variables");
  EXPECT_EQ(one.name(), "name");
  EXPECT_EQ(one.status(), 10);
  EXPECT_EQ(one.uid(), 11);
  EXPECT_EQ(one.gid(), 12);
  EXPECT_EQ(one.link_id(), "link");
  EXPECT_EQ(one.link_option(), "option");
  EXPECT_EQ(one.title(), "title");

  sql(kFileOpLog,
      "INSERT INTO PAVO2LOG_EVENT VALUES (1, 2, '2020-01-02', '10:00:00', 'ann', '10.0.0.5', '/a', '/b', "
      "1, 3, 4, 'pc1', 'd1', 'text', '', 0);");
  const Page<fileop::Row> page = operations.page().value();
  const fileop::Row operation = *page.begin();
  EXPECT_EQ(operation.id(), 1);
  EXPECT_EQ(operation.level(), Level::error);
  EXPECT_EQ(operation.date(), "2020-01-02");
  EXPECT_EQ(operation.time(), "10:00:00");
  EXPECT_EQ(operation.user(), "ann");
  EXPECT_EQ(operation.address(), "10.0.0.5");
  EXPECT_EQ(operation.old_path(), "/a");
  EXPECT_EQ(operation.path(), "/b");
  EXPECT_EQ(operation.folder(), 1);
  EXPECT_EQ(operation.action(), 3);
  EXPECT_EQ(operation.size(), 4);
  EXPECT_EQ(operation.computer(), "pc1");
  EXPECT_EQ(operation.device(), "d1");
  EXPECT_EQ(operation.message(), "text");
}

TEST_F(CppFilter, GivesGroupsWithTheirSizes) {
  for (const char* user : {"ann", "ann", "bob"}) {
    ASSERT_TRUE(event::add({.user = user}));
    ASSERT_TRUE(conn::add({.user = user}));
    ASSERT_TRUE(notice::add({.user = user}));
  }
  const auto sizes = [](const auto& groups) {
    std::string text;
    for (const auto& group : groups) {
      text += std::string(group.user()) + std::to_string(group.count()) + " ";
    }
    return text;
  };
  EXPECT_EQ(sizes(event::groups(event::GroupBy::user).value()), "ann2 bob1 ");
  EXPECT_EQ(sizes(event::groups(event::GroupBy::user, {.user = "b"}).value()), "bob1 ");
  EXPECT_EQ(sizes(event::groups(event::GroupBy::user, {}, {.sort = event::Sort::user, .descending = true}).value()),
            "bob1 ann2 ");
  EXPECT_EQ(sizes(conn::groups(conn::GroupBy::user, {.user = "a"}).value()), "ann2 ");
  EXPECT_EQ(sizes(notice::groups(notice::GroupBy::user).value()), "ann2 bob1 ");
}

TEST_F(CppFilter, GivesTheRowsOfAViewInItsOrder) {
  for (const char* user : {"b", "a", "d", "c"}) {
    ASSERT_TRUE(event::add({.user = user, .time = 1600000000}));
  }
  EXPECT_EQ(ids_of(event::page({}, {.sort = event::Sort::user}).value()), (Ids{2, 1, 4, 3}));
  EXPECT_EQ(ids_of(event::page({}, {.sort = event::Sort::user, .descending = true}).value()), (Ids{3, 4, 1, 2}));
  EXPECT_EQ(ids_of(event::page({}, {.sort = event::Sort::id, .first = 1, .count = 2}).value()), (Ids{2, 3}));
  EXPECT_EQ(ids_of(event::page({}, {.sort = event::Sort::id, .first = 2}).value()), (Ids{3, 4}));
  EXPECT_EQ(ids_of(event::page({}, {.sort = event::Sort::id, .count = 0}).value()), Ids{});
  EXPECT_EQ(ids_of(event::page({}, {.sort = event::Sort::id, .first = 1, .count = INT_MAX}).value()), (Ids{2, 3, 4}));
  EXPECT_EQ(ids_of(event::page({}, event::View{}.with_sort(event::Sort::id, true).with_rows(0, 2)).value()),
            (Ids{4, 3}));
  EXPECT_EQ(event::page({}, {.first = -1}).code(), Code::bad_argument);
  EXPECT_EQ(event::page({}, {.count = -2}).code(), Code::bad_argument);
}

TEST_F(CppFilter, GivesAPageToALoopThatOutlivesTheCall) {
  ASSERT_TRUE(event::add({.user = "ann"}));
  std::string users;
  for (const event::Row& row : *event::page()) {
    users += row.user();
  }
  for (const event::Row& row : event::page().value()) {
    users += row.user();
  }
  EXPECT_EQ(users, "annann");
}

TEST_F(CppFilter, EndsAListingWhenItsFunctionSaysSo) {
  ASSERT_TRUE(event::add_all(std::vector<event::Entry>(3)));
  int rows = 0;
  EXPECT_TRUE(event::list({}, [&rows](const event::Row&) { return ++rows < 2; }));
  EXPECT_EQ(rows, 2);
  EXPECT_TRUE(event::list({}, {.sort = event::Sort::id, .first = 2}, [&rows](const event::Row& row) {
    EXPECT_EQ(row.id(), 3);
    ++rows;
  }));
  EXPECT_EQ(rows, 3);
}

TEST_F(CppFilter, LetsAnExceptionOutOfAListingAndReleasesTheLog) {
  ASSERT_TRUE(event::add_all(std::vector<event::Entry>(3)));
  EXPECT_THROW((void)event::list({}, [](const event::Row&) { throw std::out_of_range("enough"); }), std::out_of_range);
  EXPECT_TRUE(can_write(kEventLog));
}

// ---- what is locked ----

TEST_F(CppFilter, KeepsTheLogLockedWhileAListingsFunctionRuns) {
  ASSERT_TRUE(event::add({}));
  EXPECT_TRUE(event::list({}, [](const event::Row&) { EXPECT_FALSE(can_write(kEventLog)); }));
}

TEST_F(CppFilter, KeepsNothingLockedWhileARangeIsRead) {
  const std::vector<event::Entry> entries(3);
  ASSERT_TRUE(event::add_all(entries));
  ASSERT_TRUE(conn::add({}));
  ASSERT_TRUE(notice::add({}));
  ASSERT_TRUE(operations.add({}));
  int rows = 0;
  const auto read = [&rows](auto range, const char* path) {
    for (const auto& row : range) {
      rows += row.id() > 0 ? 1 : 0;
      EXPECT_TRUE(can_write(path));
    }
    EXPECT_TRUE(range.status());
  };
  read(event::rows(), kEventLog);
  read(conn::rows(), kConnLog);
  read(notice::rows(), kNoticeLog);
  read(operations.rows(), kFileOpLog);
  EXPECT_EQ(rows, 6);
}

// ---- ranges ----

constexpr int kFirstPage = annal::Rows<event::Search>::kFirstRows;
constexpr int kMany = 12 * kFirstPage;  // four pages

struct Change {
  const char* name;
  std::string between_pages;
  std::int64_t first_kept;
  std::int64_t last_kept;
  std::int64_t step;
};

void PrintTo(const Change& change, std::ostream* out) {
  *out << change.name;
}

std::string added(int rows) {
  return "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(rows) +
         ") INSERT INTO ANNAL_EVENT (event_desc) SELECT 'new' FROM n;";
}

std::string deleted(const char* order, int rows) {
  return "DELETE FROM ANNAL_EVENT WHERE event_id IN (SELECT event_id FROM ANNAL_EVENT ORDER BY event_id " +
         std::string(order) + " LIMIT " + std::to_string(rows) + ");";
}

class CppRange : public CppFilter, public testing::WithParamInterface<Change> {
 protected:
  void SetUp() override {
    CppFilter::SetUp();
    sql(kEventLog, "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " + std::to_string(kMany) +
                       ") INSERT INTO ANNAL_EVENT (event_id, event_desc) SELECT i, 'm' FROM n;");
  }
};

TEST_P(CppRange, ShowsEachEntryThatStaysOnceWhileTheLogChanges) {
  Ids ids;
  auto range = event::rows();
  for (const event::Row& row : range) {
    ids.push_back(row.id());
    if (ids.size() % kFirstPage == 0) {
      sql(kEventLog, GetParam().between_pages);
    }
  }
  EXPECT_TRUE(range.status());
  EXPECT_TRUE(std::ranges::is_sorted(ids, std::ranges::greater_equal()));
  EXPECT_EQ(std::ranges::adjacent_find(ids), ids.end());
  for (std::int64_t id = GetParam().first_kept; id <= GetParam().last_kept; id += GetParam().step) {
    EXPECT_TRUE(std::ranges::binary_search(ids, id, std::ranges::greater())) << id;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Every, CppRange,
    testing::Values(Change{"NothingChanges", "", 1, kMany, 1}, Change{"AFewAreAdded", added(7), 1, kMany, 1},
                    Change{"NearlyAPageIsAdded", added(900), 1, kMany, 1},
                    Change{"TheOldestAreDeleted", deleted("", 20), 20 * 12, kMany, 1},
                    Change{"TheNewestAreDeleted", deleted("DESC", 60), 1, kMany - 1000, 1},
                    Change{"EveryOtherOneIsDeleted", "DELETE FROM ANNAL_EVENT WHERE event_id % 2 = 1;", 2, kMany, 2},
                    Change{"MostAreDeleted", "DELETE FROM ANNAL_EVENT WHERE event_id > 100;", 1, 100, 1},
                    Change{"AllAreDeleted", "DELETE FROM ANNAL_EVENT;", 1, 0, 1}),
    [](const auto& tested) { return tested.param.name; });

TEST_F(CppFilter, GivesARangeThatFiltersAndOutlivesTheFiltersTexts) {
  for (const char* user : {"ann", "bob", "ann"}) {
    ASSERT_TRUE(event::add({.user = user}));
  }
  auto range = [] {
    const std::string user = "an" + std::string("n");
    return event::rows({.user = user});
  }();
  EXPECT_EQ(ids_of(range), (Ids{3, 1}));
}

// So that a page of large rows takes no more memory than one of small ones.
TEST_F(CppFilter, GivesARangeWhosePagesHaveABoundInBytes) {
  constexpr std::size_t kRow = std::size_t{300} << 10U;
  sql(kEventLog,
      "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < 50) INSERT INTO ANNAL_EVENT "
      "(event_desc) SELECT hex(zeroblob(" +
          std::to_string(kRow / 2) + ")) FROM n;");
  sqlite.reset();
  Ids ids;
  for (const event::Row& row : event::rows()) {
    EXPECT_EQ(row.message().size(), kRow);
    ids.push_back(row.id());
  }
  EXPECT_EQ(ids.size(), 50U);
  EXPECT_GE(std::ranges::count(SqliteTrace::calls(), "close"), 4);
  EXPECT_TRUE(std::ranges::is_sorted(ids, std::ranges::greater()));
}

TEST_F(CppFilter, EndsARangeThatFailsAndSaysWhyOrThrowsIt) {
  ASSERT_TRUE(event::drop());
  auto range = event::rows();
  EXPECT_EQ(ids_of(range), Ids{});
  EXPECT_EQ(range.status().code(), Code::query_failed);
  EXPECT_THROW(ids_of(event::rows().or_throw()), Error);
  range = event::rows();
  EXPECT_THROW(ids_of(range.or_throw()), Error);
}

}  // namespace
}  // namespace annal::test
