// Options of other commands that a command takes up: following a list, showing entries as a table, all logs in UTC.
#include <gmock/gmock.h>

#include <csignal>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;
using annal::test::sql;
using testing::HasSubstr;
using testing::StartsWith;

class AnnalctlHabits : public AnnalctlEventTest {
 protected:
  void SetUp() override {
    AnnalctlEventTest::SetUp();
    setenv("TZ", "Europe/Berlin", 1);
    ASSERT_EQ(annalctl({"event", "add", "Fan 2 failed.", "--type", "error", "--time", "2026-11-21 00:30:00"}).status,
              0);
  }
  void TearDown() override {
    unsetenv("TZ");
    AnnalctlEventTest::TearDown();
  }
};

}  // namespace

TEST_F(AnnalctlHabits, AListCanBeFollowed) {
  RunningAnnalctl following({"event", "list", "-f", "-n", "5", "--type", "error", "--csv"});
  EXPECT_EQ(following.wait_for_lines(2).size(), 2U);
  ASSERT_EQ(annalctl({"event", "add", "logged in"}).status, 0);
  ASSERT_EQ(annalctl({"event", "add", "Fan 3 failed.", "--type", "error"}).status, 0);
  EXPECT_THAT(following.wait_for_lines(3).back(), HasSubstr("Fan 3 failed."));
  EXPECT_EQ(following.finish(SIGINT).status, 0);
  EXPECT_EQ(annalctl({"event", "list", "-f", "--oldest"}).status, 2);
  EXPECT_EQ(annalctl({"event", "list", "-f", "--fold"}).status, 2);
}

TEST_F(AnnalctlHabits, AnEntryIsShownAsATableWhenAsked) {
  EXPECT_THAT(annalctl({"event", "show", "1", "-o", "table"}).out, StartsWith("ID  Date"));
  EXPECT_THAT(annalctl({"event", "show", "1"}).out, StartsWith("event_id: "));
  EXPECT_EQ(annalctl({"event", "show", "1", "-o", "full"}).out, annalctl({"event", "show", "1"}).out);
}

TEST_F(AnnalctlHabits, AllLogsAreShownInUtcAndByColumns) {
  EXPECT_THAT(annalctl({"log"}).out, HasSubstr("2026-11-21  00:30:00"));
  EXPECT_THAT(annalctl({"log", "--utc"}).out, HasSubstr("2026-11-20  23:30:00"));
  EXPECT_EQ(annalctl({"log", "--columns", "log,message"}).out, "Log    Message\nevent  Fan 2 failed.\n");
  EXPECT_EQ(annalctl({"log", "--columns", "colour"}).status, 2);
  const Json local = Json::parse(annalctl({"log", "--json"}).out);
  EXPECT_EQ(local["timestamp"], "2026-11-21T00:30:00+01:00");
  EXPECT_EQ(local["level"], "error");
  EXPECT_EQ(local["log"], "event");
  EXPECT_EQ(Json::parse(annalctl({"log", "--json", "--utc"}).out)["timestamp"], "2026-11-20T23:30:00Z");
}

TEST_F(AnnalctlHabits, FileOperationsAreGrouped) {
  const char* const file = "/etc/logs/operations.db";
  ASSERT_EQ(annalctl({"fileop", "--db", file, "create"}).status, 0);
  for (const char* user : {"ann", "bob", "ann"}) {
    ASSERT_EQ(annalctl({"fileop", "--db", file, "add", "/a", "--action", "4", "--user", user}).status, 0);
  }
  EXPECT_EQ(annalctl({"fileop", "--db", file, "group", "--by", "user", "--by-size"}).out,
            "Count  User\n    2  ann\n    1  bob\n");
  EXPECT_EQ(annalctl({"fileop", "--db", file, "group", "--by", "path"}).out, "Count  Path\n    3  /a\n");
  EXPECT_EQ(annalctl({"fileop", "--db", file, "group", "--by", "action", "--user", "bob"}).out,
            "Count  Action\n    1       4\n");
}

TEST_F(AnnalctlHabits, GroupsInATableOfAnEarlierReleaseHaveTheirSizes) {
  sql("/etc/logs/conn.log",
      "CREATE TABLE ANNAL_CONN (conn_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, conn_type INTEGER, conn_date TEXT, "
      "conn_time TEXT, conn_user TEXT, conn_ip TEXT, conn_comp TEXT, conn_res TEXT, conn_serv INTEGER, conn_action "
      "INTEGER); INSERT INTO ANNAL_CONN (conn_type, conn_user) VALUES (1, 'ann'), (1, 'ann'), (1, 'bob');");
  EXPECT_EQ(annalctl({"conn", "group", "--by", "user"}).out, "Count  User\n    2  ann\n    1  bob\n");
  const Json first = Json::parse(lines_of(annalctl({"conn", "group", "--by", "user", "--json"}).out).at(0));
  EXPECT_EQ(first["count"], 2);
  EXPECT_EQ(first["conn_app"], nullptr);
}
