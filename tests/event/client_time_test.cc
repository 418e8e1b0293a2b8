// The polling clients' queries: the events of some levels since the client last polled.
#include <climits>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/event/searched_log.h"
#include "tests/suites/searches.h"

namespace annal::test {
namespace {

constexpr const char* kLog = "/etc/logs/event.log";

std::vector<PollFunction> functions() {
  return {
      {.name = "Count",
       .log = &searched_events(),
       .kind = SearchFunction::kCount,
       .statement =
           "SELECT COUNT(*) FROM (SELECT event_id, event_type, event_date, event_time, event_user, event_ip, "
           "event_comp, event_desc, event_msgid, event_timet, event_app_id, event_app_name, event_category_id, "
           "event_category, event_client_id, event_client_app, event_client_agent  from ANNAL_EVENT %W) where "
           "event_date||' '||event_time >= datetime(%T , 'unixepoch', 'localtime') and event_date||' "
           "'||event_time >= datetime(strftime('%s','now')-%D*86400, 'unixepoch', 'localtime') and "
           "event_date||' '||event_time <= datetime(strftime('%s','now'), 'unixepoch', 'localtime');",
       .where = "where ",
       .call =
           [](const Poll& poll, annal_row_callback /*callback*/, void* /*context*/) {
             return annal_event_query_byclientTime_count_ex(poll.levels, poll.client_time, poll.days);
           }},
      {.name = "Listing",
       .log = &searched_events(),
       .kind = SearchFunction::kListing,
       .statement = "SELECT * FROM (select * from ANNAL_EVENT %W) where event_date||' '||event_time >= datetime(%T , "
                    "'unixepoch', 'localtime') and event_date||' '||event_time >= "
                    "datetime(strftime('%s','now')-%D*86400, 'unixepoch', 'localtime') %O %P;",
       .where = "where",
       .call =
           [](const Poll& poll, annal_row_callback callback, void* context) {
             return annal_event_query_byclientTime_ex(callback, poll.levels, poll.client_time, poll.days, poll.start,
                                                      poll.end, poll.sort, context);
           },
       .orders = 18},
      {.name = "Groups",
       .log = &searched_events(),
       .kind = SearchFunction::kGroups,
       .statement =
           "SELECT *,COUNT(*) FROM (select event_id, event_type, event_date, event_time, event_user, event_ip, "
           "event_comp, event_desc, event_msgid, event_timet, event_app_id, event_app_name, event_category_id, "
           "event_category, event_client_id, event_client_app, event_client_agent  from ANNAL_EVENT %W %O) "
           "where event_date||' '||event_time >= datetime(%T , 'unixepoch', 'localtime') and event_date||' "
           "'||event_time >= datetime(strftime('%s','now')-%D*86400, 'unixepoch', 'localtime') and "
           "event_date||' '||event_time <= datetime(strftime('%s','now'), 'unixepoch', 'localtime') %G %P;",
       .where = "where",
       .call =
           [](const Poll& poll, annal_row_callback callback, void* context) {
             return annal_event_query_byclientTime_group(callback, poll.levels, poll.client_time, poll.days, poll.start,
                                                         poll.end, poll.sort, poll.group, context);
           },
       .orders = 18},
  };
}

INSTANTIATE_TEST_SUITE_P(OfEvents, EveryPoll, testing::ValuesIn(functions()), name_of_poll);
INSTANTIATE_TEST_SUITE_P(OfEvents, EveryListingPoll, testing::ValuesIn(listing(functions())), name_of_poll);

class EventPoll : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
    sqlite.reset();
  }

  int list() { return annal_event_query_byclientTime_ex(&collect, "0,1,2", "0", 1, 0, 0, 12, &listing); }
  int list_groups(unsigned sort, unsigned group, int start = 0, int end = 0) {
    return annal_event_query_byclientTime_group(&collect, /* types= */ "0,1,2", /* client_time= */ "0", /* days= */ 1,
                                                start, end, sort, group, &listing);
  }

  Listing listing;
};

const Row& columns() {
  static const Row names = {"event_id",          "event_type",     "event_date",      "event_time",
                            "event_user",        "event_ip",       "event_comp",      "event_desc",
                            "event_msgid",       "event_timet",    "event_app_id",    "event_app_name",
                            "event_category_id", "event_category", "event_client_id", "event_client_app",
                            "event_client_agent"};
  return names;
}

constexpr const char* kMigrated =
    "DROP TABLE ANNAL_EVENT; CREATE TABLE ANNAL_EVENT (event_type, event_date, event_time, event_id, event_user, "
    "event_ip, event_comp, event_desc, event_msgid, event_client_id, event_client_app, event_client_agent, "
    "event_timet, event_app_id, event_app_name, event_category_id, event_category, extra);"
    "INSERT INTO ANNAL_EVENT (event_id, event_type, event_date, event_time, extra) VALUES "
    "(7, 1, date('now', '-1 second', 'localtime'), time('now', '-1 second', 'localtime'), 'more');";

TEST_F(EventPoll, ListsTheTablesOwnColumnsInItsOwnOrder) {
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_id, event_type) VALUES (7, 1);");
  EXPECT_EQ(list(), ANNAL_OK);
  EXPECT_EQ(listing.names, columns());
  sql(kLog, kMigrated);
  listing = {};
  EXPECT_EQ(list(), ANNAL_OK);
  EXPECT_EQ(listing.names,
            Row({"event_type", "event_date", "event_time", "event_id", "event_user", "event_ip", "event_comp",
                 "event_desc", "event_msgid", "event_client_id", "event_client_app", "event_client_agent",
                 "event_timet", "event_app_id", "event_app_name", "event_category_id", "event_category", "extra"}));
  ASSERT_EQ(listing.rows.size(), 1U);
  EXPECT_EQ(listing.rows[0].at(3), "7");
  EXPECT_EQ(listing.rows[0].at(17), "more");
}

TEST_F(EventPoll, GroupsWithTheUsualColumnsInAnyTableOrder) {
  sql(kLog, kMigrated);
  Row names = columns();
  names.emplace_back("COUNT(*)");
  EXPECT_EQ(list_groups(0, 0), ANNAL_OK);
  EXPECT_EQ(listing.names, names);
  ASSERT_EQ(listing.rows.size(), 1U);
  EXPECT_EQ(listing.rows[0].at(0), "7");
  EXPECT_EQ(listing.rows[0].at(17), "1");
}

TEST_F(EventPoll, GroupsByEachOfItsCodes) {
  for (unsigned group = 0; group <= 9; ++group) {
    SCOPED_TRACE(group);
    SqliteTrace::reset();
    EXPECT_EQ(list_groups(25, group), ANNAL_OK);
    ASSERT_EQ(sqlite.statements().size(), 1U);
    EXPECT_TRUE(sqlite.statements()[0].ends_with("datetime(strftime('%s','now'), 'unixepoch', 'localtime') " +
                                                 searched_events().groupings.at(group) + " ;"));
  }
}

TEST_F(EventPoll, RefusesGroupAbove9) {
  std::remove(kLog);
  for (const unsigned group : {10U, 11U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(group);
    EXPECT_EQ(list_groups(0, group), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(sqlite.calls(), Calls());
    EXPECT_FALSE(exists(kLog));
  }
}

// The order applies to the rows before grouping, the page to the groups.
TEST_F(EventPoll, SortsBeforeItGroupsAndCutsThePageLast) {
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_type, event_user) VALUES (0, 'ann'), (0, 'bob'), (0, 'ann'), (0, 'cat');");
  EXPECT_EQ(list_groups(6, 4, 0, 2), ANNAL_OK);
  ASSERT_EQ(listing.rows.size(), 2U);
  EXPECT_EQ(listing.rows[0].at(4) + listing.rows[0].at(17), "ann2");
  EXPECT_EQ(listing.rows[1].at(4) + listing.rows[1].at(17), "bob1");
}

}  // namespace
}  // namespace annal::test
