// The pass through the logs: where it begins, and how it shares its time among them.
#include "tools/web/pass.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <fstream>

#include "Corix_annal.h"
#include "tests/web/cgi.h"
#include "tools/annalctl/files/log_system.h"
#include "tools/web/writers_first.h"

namespace {

using annal::test::sql;
using annal_web::Budget;
using annal_web::Pass;
using annal_web::Place;
using annal_web::Selection;
using testing::Contains;
using testing::Not;

constexpr int kEntries = 2000;

// Two logs that get an entry each at every second.
class WebPass : public WebTest {
 protected:
  void SetUp() override {
    WebTest::SetUp();
    ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
    const std::string numbers =
        fmt::format("WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {}) ", kEntries);
    sql("/etc/logs/event.log", numbers +
                                   "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time) SELECT 0, "
                                   "'2026-11-21', time(i, 'unixepoch') FROM n");
    sql("/etc/logs/conn.log", numbers +
                                  "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time) SELECT 0, '2026-11-21', "
                                  "time(i, 'unixepoch') FROM n");
    annalctl::install_log_system();
    annalctl::read_logs_only();
  }
  void TearDown() override {
    annalctl::install_log_system();
    WebTest::TearDown();
  }

  static Pass pass(const std::string& query, std::chrono::milliseconds time) {
    const Selection selection = annal_web::read_selection(annal_web::parse_query(query));
    std::vector<annal_web::OpenLog> logs = annal_web::open_logs(selection);
    return annal_web::pass_through(selection, logs, selection.rows, Budget(std::chrono::hours(1), time));
  }
  // What it has looked at when its time is over at once.
  static std::vector<std::string> first_looked_at(const std::string& query) {
    const Pass one = pass(query, std::chrono::milliseconds(0));
    EXPECT_FALSE(one.complete);
    return names(one);
  }
  static std::vector<std::string> names(const Pass& pass) {
    std::vector<std::string> names;
    for (const Place& place : pass.places) {
      names.push_back(fmt::format("{} {}", annal_web::parts()[place.part].log->name, place.id));
    }
    return names;
  }
  static std::string place(int id) {
    return fmt::format("event:{}:{}", id, 1795219200 + id);  // from 2026-11-21 00:00:00 on
  }
};

}  // namespace

TEST_F(WebPass, LooksAtEachLogWhenTimeIsShort) {
  const auto names = first_looked_at("rows=25");
  EXPECT_THAT(names, Contains(fmt::format("event {}", kEntries)));
  EXPECT_THAT(names, Contains(fmt::format("conn {}", kEntries)));
}

TEST_F(WebPass, BeginsWhereThePageBegins) {
  const auto older = first_looked_at("rows=25&after=" + place(900));
  EXPECT_THAT(older, Contains("event 899"));
  EXPECT_THAT(older, Contains("conn 899"));
  EXPECT_THAT(older, Not(Contains("event 900")));
  const auto newer = first_looked_at("rows=25&before=" + place(900));
  EXPECT_THAT(newer, Contains("event 901"));
  EXPECT_THAT(newer, Contains("conn 900"));
  EXPECT_THAT(newer, Not(Contains("conn 899")));
  EXPECT_THAT(first_looked_at("rows=25&order=rising"), Contains("event 1"));
  EXPECT_THAT(first_looked_at("rows=25&order=rising&after=" + place(900)), Contains("event 901"));
}

TEST_F(WebPass, FindsTheSamePageWhereverItBegins) {
  for (const char* query : {"rows=25", "rows=25&order=rising"}) {
    for (const char* way : {"&after=", "&before="}) {
      const Pass whole = pass(query + std::string(way) + place(900), std::chrono::hours(1));
      EXPECT_TRUE(whole.complete);
      EXPECT_EQ(whole.summary.entries, 2U * kEntries);
      EXPECT_EQ(whole.places.size(), 25U);
      const bool older = (std::string(query) == "rows=25") == (std::string(way) == "&after=");
      EXPECT_THAT(names(whole), Contains(older ? "event 899" : "event 901")) << query << way;
    }
  }
}

TEST_F(WebPass, FindsEntriesThatWereAddedLaterThanTheirTime) {
  annalctl::install_log_system();
  sql("/etc/logs/event.log",
      "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time) VALUES (0, '2026-11-21', time(890, 'unixepoch'))");
  annalctl::read_logs_only();
  EXPECT_THAT(names(pass("rows=25&after=" + place(900), std::chrono::hours(1))),
              Contains(fmt::format("event {}", kEntries + 1)));
}

TEST(WebBudget, IsSharedAmongThoseWhoWait) {
  EXPECT_EQ(Budget::time_of_pass(0), std::chrono::milliseconds(1500));
  EXPECT_EQ(Budget::time_of_pass(9), std::chrono::milliseconds(200));
  EXPECT_EQ(Budget::time_of_pass(49), std::chrono::milliseconds(40));
  EXPECT_EQ(Budget::time_of_pass(10000), std::chrono::milliseconds(30));
}

TEST_F(WebTest, LeavesALogAloneWhileThereIsAJournalButNotForEver) {
  annal_web::OpenLog log;
  log.part = annal_web::part_named("event");
  const std::string journal = "/etc/logs/event.log-journal";
  std::ofstream(journal) << "a change";
  annal_web::WritersFirst pause(log);
  const auto begun = std::chrono::steady_clock::now();
  pause.before_turn();
  EXPECT_GE(std::chrono::steady_clock::now() - begun, std::chrono::milliseconds(5));
  EXPECT_EQ(std::remove(journal.c_str()), 0);
}
