// New entries only: for scripts that run repeatedly, and in one view of all logs.
#include <fcntl.h>
#include <sqlite3.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"

namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;
using Texts = std::vector<std::string>;
using annal::test::sql;

constexpr const char* kEvents = "/etc/logs/event.log";
constexpr const char* kNotices = "/etc/logs/notice.log";
constexpr const char* kFileOps = "/etc/logs/operations.db";
constexpr const char* kCursor = "/sbin/cursor";

void add_event(const std::string& date, const std::string& text) {
  sql(kEvents, "INSERT INTO ANNAL_EVENT (event_type, event_date, event_time, event_user, event_desc) VALUES (2, '" +
                   date + "', '10:00:00', 'ann', '" + text + "');");
}

Texts values_in(const std::string& text, const char* key) {
  Texts values;
  for (const std::string& line : lines_of(text)) {
    const Json value = Json::parse(line)[key];
    values.push_back(value.is_string() ? value.get<std::string>() : value.dump());
  }
  return values;
}

Texts listed(const Texts& more) {
  Texts arguments{"event", "list", "--json"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  const Finished finished = annalctl(arguments);
  EXPECT_EQ(finished.status, 0) << finished.err;
  return values_in(finished.out, "event_desc");
}

// One entry in each log: by their times an event, a connection, a notice, a file operation, an event.
class AnnalctlLogView : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    for (const Texts& create :
         {Texts{"event", "create"}, {"conn", "create"}, {"notice", "create"}, {"fileop", "--db", kFileOps, "create"}}) {
      ASSERT_EQ(annalctl(create).status, 0);
    }
    add_event("2026-11-05", "last");
    add_event("2026-11-01", "first");
    sql("/etc/logs/conn.log",
        "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time, conn_user, conn_ip, conn_res) VALUES (1, "
        "'2026-11-02', '10:00:00', 'bob', '10.0.0.1', 'second');");
    sql(kNotices,
        "INSERT INTO ANNAL_NOTICE (severity, time, user, desc) VALUES (3, strftime('%s', '2026-11-03 10:00:00', "
        "'utc'), 'ann', 'third');");
    sql(kFileOps,
        "INSERT INTO PAVO2LOG_EVENT (event_type, event_date, event_time, event_user, event_filepath) VALUES (0, "
        "'2026-11-04', '10:00:00', 'bob', 'fourth');");
  }

  static Texts messages(const Texts& more) {
    Texts arguments{"log", "--json", "--db", kFileOps};
    arguments.insert(arguments.end(), more.begin(), more.end());
    const Finished finished = annalctl(arguments);
    EXPECT_EQ(finished.status, 0) << finished.err;
    return values_in(finished.out, "message");
  }
};

}  // namespace

// ---- list --after-id and --cursor ----

TEST_F(AnnalctlEventTest, ListAfterAnIdShowsWhatCameLaterOldestFirst) {
  for (int i = 0; i < 70; ++i) {
    add_event("2026-11-01", std::to_string(i));
  }
  EXPECT_EQ(listed({"--after-id", "67"}), (Texts{"67", "68", "69"}));
  EXPECT_EQ(listed({"--after-id", "0"}).size(), 70U) << "all of them";
  EXPECT_EQ(listed({"--after-id", "0", "--limit", "2"}), (Texts{"0", "1"}));
  EXPECT_EQ(annalctl({"event", "list", "--after-id", "1", "--oldest"}).status, 2);
}

TEST_F(AnnalctlEventTest, ACursorShowsEachEntryOnce) {
  add_event("2026-11-01", "a");
  add_event("2026-11-01", "b");
  EXPECT_EQ(listed({"--cursor", kCursor}), (Texts{"a", "b"}));
  EXPECT_EQ(listed({"--cursor", kCursor}), Texts{});
  add_event("2020-01-01", "c");
  add_event("2020-01-01", "d");
  EXPECT_EQ(listed({"--cursor", kCursor, "--limit", "1"}), Texts{"c"});
  EXPECT_EQ(listed({"--cursor", kCursor}), Texts{"d"});
  EXPECT_EQ(std::distance(fs::directory_iterator("/sbin"), {}), 1) << "nothing beside the cursor";
}

TEST_F(AnnalctlEventTest, ACursorBeginsAgainInALogThatWasMadeAnew) {
  add_event("2026-11-01", "a");
  add_event("2026-11-01", "b");
  ASSERT_EQ(listed({"--cursor", kCursor}).size(), 2U);
  ASSERT_EQ(annal_event_remove_tbl(), ANNAL_OK);
  ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  add_event("2026-11-02", "new");
  EXPECT_EQ(listed({"--cursor", kCursor}), Texts{"new"});
  // Emptying does not end it.
  ASSERT_EQ(annal_event_flush_tbl(), ANNAL_OK);
  add_event("2026-11-02", "newer");
  EXPECT_EQ(listed({"--cursor", kCursor}), Texts{"newer"});
}

TEST_F(AnnalctlEventTest, ACursorStaysWhenWhatItShowsCannotBeWritten) {
  add_event("2026-11-01", "a");
  ASSERT_EQ(listed({"--cursor", kCursor}).size(), 1U);
  const std::string before = damage::contents_of(kCursor);
  add_event("2026-11-01", "b");
  EXPECT_EQ(annalctl({"event", "list", "--json", "--cursor", kCursor}, {}, "/dev/full").status, 1);
  EXPECT_EQ(damage::contents_of(kCursor), before);
  EXPECT_EQ(listed({"--cursor", kCursor}), Texts{"b"});
}

TEST_F(AnnalctlEventTest, ACursorIsNoOtherFile) {
  damage::put(kCursor, "something else\n");
  const Finished refused = annalctl({"event", "list", "--cursor", kCursor});
  EXPECT_EQ(refused.status, 2);
  EXPECT_EQ(damage::contents_of(kCursor), "something else\n");
}

// ---- log ----

TEST_F(AnnalctlLogView, ShowsAllLogsByTime) {
  EXPECT_EQ(messages({}), (Texts{"last", "fourth", "third", "second", "first"}));
  EXPECT_EQ(messages({"--oldest"}), (Texts{"first", "second", "third", "fourth", "last"}));
  EXPECT_EQ(messages({"--limit", "2", "--offset", "1"}), (Texts{"fourth", "third"}));
  EXPECT_EQ(messages({"--all", "--oldest"}).size(), 5U);
  const Finished table = annalctl({"log"});
  EXPECT_EQ(table.status, 0) << table.err;
  EXPECT_EQ(lines_of(table.out).size(), 5U) << table.out;
  EXPECT_EQ(lines_of(annalctl({"log", "--csv"}).out).front(), "log,id,date,time,level,user,ip,computer,message\r");
}

TEST_F(AnnalctlLogView, TakesTheFiltersThatAllLogsShare) {
  EXPECT_EQ(messages({"--user", "bob"}), (Texts{"fourth", "second"}));
  EXPECT_EQ(messages({"--type", "error"}), (Texts{"last", "third", "first"}));
  EXPECT_EQ(messages({"--since", "2026-11-02", "--until", "2026-11-03"}), (Texts{"third", "second"}));
  EXPECT_EQ(messages({"--text", "ir"}), (Texts{"third", "first"}));
  EXPECT_EQ(messages({"--ip", "10.0.0.1"}), Texts{"second"});
}

TEST_F(AnnalctlLogView, LeavesOutALogThatIsNotThereAndTellsOfOneThatCannotBeRead) {
  fs::remove("/etc/logs/conn.log");
  EXPECT_EQ(messages({}), (Texts{"last", "fourth", "third", "first"}));
  EXPECT_FALSE(fs::exists("/etc/logs/conn.log"));
  damage::put("/etc/logs/conn.log", std::string(4096, 'x'));
  const Finished finished = annalctl({"log", "--json"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_EQ(values_in(finished.out, "message"), (Texts{"last", "third", "first"}));
  EXPECT_NE(finished.err.find("/etc/logs/conn.log"), std::string::npos) << finished.err;
}

TEST_F(AnnalctlLogView, GoesOnFromACursor) {
  EXPECT_EQ(messages({"--cursor", kCursor}), (Texts{"first", "second", "third", "fourth", "last"}));
  EXPECT_EQ(messages({"--cursor", kCursor}), Texts{});
  add_event("2026-11-06", "one");
  sql(kNotices,
      "INSERT INTO ANNAL_NOTICE (severity, time, desc) VALUES (3, strftime('%s', '2026-11-05 10:00:00', "
      "'utc'), 'other');");
  EXPECT_EQ(messages({"--cursor", kCursor}), (Texts{"other", "one"}));
}

TEST_F(AnnalctlLogView, FollowsEachLog) {
  const RunningAnnalctl running({"log", "-f", "--json", "--interval", "0.05", "--limit", "2"});
  EXPECT_EQ(running.wait_for_lines(2).size(), 2U);
  add_event("2026-11-06", "new event");
  EXPECT_EQ(running.wait_for_lines(3).size(), 3U);
  sql(kNotices, "INSERT INTO ANNAL_NOTICE (severity, time, desc) VALUES (3, strftime('%s', 'now'), 'new notice');");
  const Texts lines = running.wait_for_lines(4);
  ASSERT_EQ(lines.size(), 4U);
  Texts shown;
  for (const std::string& line : lines) {
    shown.push_back(Json::parse(line)["message"]);
  }
  EXPECT_EQ(shown, (Texts{"third", "last", "new event", "new notice"}));
}

TEST_F(AnnalctlLogView, EndsWithSuccessWhenItIsInterrupted) {
  RunningAnnalctl running({"log", "-f", "--interval", "0.05"});
  EXPECT_GE(running.wait_for_lines(4).size(), 4U);
  EXPECT_EQ(running.finish(SIGINT).status, 0);
}

TEST_F(AnnalctlLogView, LocksNoLogWhileItsReaderPauses) {
  sql(kEvents,
      "WITH n(i) AS (VALUES (1) UNION ALL SELECT i + 1 FROM n WHERE i < 3000) INSERT INTO ANNAL_EVENT (event_type, "
      "event_date, event_time, event_desc) SELECT 0, '2026-11-07', '10:00:00', printf('%0600d', i) FROM n;");
  std::array<int, 2> ends{};
  ASSERT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
  RunningAnnalctl running({"log", "--all", "--json"}, ends[1]);
  close(ends[1]);
  char byte = 0;
  ASSERT_EQ(read(ends[0], &byte, 1), 1);
  sqlite3* database = nullptr;
  ASSERT_EQ(sqlite3_open(kEvents, &database), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(database, "BEGIN EXCLUSIVE; COMMIT;", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(database);
  std::array<char, 65536> rest{};
  while (read(ends[0], rest.data(), rest.size()) > 0) {
  }
  close(ends[0]);
  EXPECT_EQ(running.finish().status, 0);
}
