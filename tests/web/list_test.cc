// The list: filters, pages, orders, counts, repeats, and what is around an entry.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <cstdio>
#include <fstream>

#include "Corix_annal.h"
#include "tests/web/cgi.h"

namespace {

using annal::test::sql;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

constexpr char kEventLog[] = "/etc/logs/event.log";

using WebList = WebTest;
using Texts = std::vector<std::string>;

// Three logs with an entry at each minute, in turns.
class WebAllLogs : public WebTest {
 protected:
  void SetUp() override {
    WebTest::SetUp();
    ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
    ASSERT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OK);
    setenv("TZ", "UTC", 1);
    add("event 1", 0, "ann", "2026-11-21", "10:00:00");
    sql("/etc/logs/conn.log",
        "INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, conn_app) "
        "VALUES (1, '2026-11-21', '10:01:00', 'bob', '10.0.0.2', 'desk', 'conn 1', 'SSH')");
    // 2026-11-21 10:02:00
    sql("/etc/logs/notice.log",
        "INSERT INTO ANNAL_NOTICE (severity, time, user, ip, client, \"desc\", serviceName, title) VALUES (2, "
        "1795255320, 'ann', '10.0.0.3', 'desk', 'notice 1', 'Fans', '')");
    add("event 2", 2, "bob", "2026-11-21", "10:03:00");
  }
  void TearDown() override {
    unsetenv("TZ");
    WebTest::TearDown();
  }
};

}  // namespace

// --- what is shown ---

TEST_F(WebAllLogs, BringsAllLogsIntoTheOrderOfTheirTimes) {
  EXPECT_THAT(messages(get()), ElementsAre("event 2", "notice 1", "conn 1", "event 1"));
  EXPECT_THAT(messages(get("order=rising")), ElementsAre("event 1", "conn 1", "notice 1", "event 2"));
  EXPECT_THAT(messages(get("log=conn")), ElementsAre("conn 1"));
  EXPECT_THAT(get().body, HasSubstr("4 entries."));
}

TEST_F(WebAllLogs, NamesTheLogOfEachEntryWhereThereAreSeveral) {
  EXPECT_EQ(between(get().body, "class=\"log\"", "<").size(), 4U);
  EXPECT_THAT(get("log=conn").body, Not(HasSubstr("class=\"log\"")));
}

TEST_F(WebAllLogs, TakesTheLevelOfANoticeForTheOneThatTheOtherLogsHave) {
  EXPECT_THAT(messages(get("level=error")), ElementsAre("event 2", "notice 1"));
  EXPECT_THAT(messages(get("least=warning")), ElementsAre("event 2", "notice 1", "conn 1"));
  EXPECT_THAT(messages(get("log=notice&level=critical")), ElementsAre("notice 1"));
  EXPECT_EQ(get("level=critical").status, 400);
}

TEST_F(WebAllLogs, ListsAFileOfFileOperationsThatTheServerNames) {
  ASSERT_EQ(pavo2log_event_create_tbl("/etc/logs/operations.db", 0, 0), ANNAL_OK);
  sql("/etc/logs/operations.db",
      "INSERT INTO PAVO2LOG_EVENT (event_type, event_date, event_time, event_user, event_ip, event_comp, "
      "event_filepath, event_oldfilepath) VALUES (0, '2026-11-21', '10:05:00', 'ann', '', '', '/new', '/old')");
  const Environment named{{"ANNAL_WEB_FILEOP", "/etc/logs/operations.db"}};
  EXPECT_THAT(messages(get("log=fileop", named)), ElementsAre("/old → /new"));
  EXPECT_EQ(messages(get({}, named)).front(), "/old → /new");
}

TEST_F(WebList, FiltersAndLeavesOut) {
  add("fan 1 failed", 2, "ann");
  add("fan 2 failed", 2, "bob");
  add("all well", 0, "ann", "2026-11-20");
  EXPECT_THAT(messages(get("text=FAN")), ElementsAre("fan 2 failed", "fan 1 failed"));
  EXPECT_THAT(messages(get("grep=fan+%5B1%5D")), ElementsAre("fan 1 failed"));
  EXPECT_THAT(messages(get("not-text=fan")), ElementsAre("all well"));
  EXPECT_THAT(messages(get("user=ann")), ElementsAre("fan 1 failed", "all well"));
  EXPECT_THAT(messages(get("not-user=ann")), ElementsAre("fan 2 failed"));
  EXPECT_THAT(messages(get("user=ann&user=bob&not-level=error")), ElementsAre("all well"));
  EXPECT_THAT(messages(get("user=an")), ElementsAre());
  EXPECT_THAT(messages(get("since=2026-11-21")), ElementsAre("fan 2 failed", "fan 1 failed"));
  EXPECT_THAT(messages(get("until=2026-11-20+23:59")), ElementsAre("all well"));
  EXPECT_THAT(messages(get("ip=10.0.0.1&app=Storage&computer=host&text=well")), ElementsAre("all well"));
}

TEST_F(WebList, BindsWhatIsAskedFor) {
  add("it's 100%", 0, "o'neil");
  EXPECT_THAT(messages(get("user=o%27neil")), ElementsAre("it&#39;s 100%"));
  EXPECT_THAT(messages(get("text=100%25")), ElementsAre("it&#39;s 100%"));
  EXPECT_THAT(messages(get("user=x%27+OR+1=1+--")), ElementsAre());
  EXPECT_THAT(messages(get("text=_")), ElementsAre());
}

TEST_F(WebList, TakesAFilterBackByALinkAndKeepsTheOthers) {
  add("one");
  const Answer answer = get("user=ann&not-user=bob&rows=25");
  EXPECT_EQ(link_named(answer, "×"), "not-user=bob&rows=25");
  EXPECT_EQ(link_named(answer, "Clear all"), "rows=25");
  EXPECT_THAT(answer.body, HasSubstr("<input type=\"hidden\" name=\"not-user\" value=\"bob\">"));
}

TEST_F(WebList, ReadsALogInUtf16) {
  std::remove(kEventLog);
  sql(kEventLog,
      "PRAGMA encoding = 'UTF-16'; CREATE TABLE ANNAL_EVENT (event_id INTEGER PRIMARY KEY AUTOINCREMENT, event_type "
      "INTEGER, event_date TEXT, event_time TEXT, event_user TEXT, event_ip TEXT, event_comp TEXT, event_desc TEXT, "
      "event_app_name TEXT)");
  add("één", 0, "ann");
  const Answer answer = get("log=event&sort=user");
  EXPECT_THAT(messages(answer), ElementsAre("één"));
  EXPECT_THAT(answer.body, HasSubstr(">ann</bdi></a><span class=\"number\">1</span>"));
  EXPECT_THAT(answer.body, HasSubstr("data-counts=\"1 0 0\""));
}

TEST_F(WebList, CountsEntriesWithoutATimeToo) {
  add("one", 0, "ann", "yesterday", "noon");
  add("two", 0, "ann", "2026-02-30", "10:00:00");
  add("three", 0, "ann", "2026-02-28", "10:00:61");
  add("four", 0, "ann", "2026-02-28", "1x:00:00");
  const Answer answer = get();
  EXPECT_THAT(messages(answer), ElementsAre("four", "three", "two", "one"));
  EXPECT_THAT(answer.body, Not(HasSubstr("data-counts")));
}

// --- pages ---

TEST_F(WebList, TurnsPagesByPlacesWithoutOmissionOrRepetition) {
  for (int i = 0; i < 130; ++i) {
    // Many at the same time, and not in the order in which they were added.
    add(fmt::format("entry {:03}", i), i % 3, fmt::format("user {}", i % 7), "2026-11-21",
        fmt::format("10:{:02}:00", i * 37 % 11));
  }
  for (const std::string order :
       {"", "order=rising&", "sort=level&", "sort=user&", "sort=user&order=falling&", "sort=app&"}) {
    Texts seen;
    Texts forward;
    std::string query = order + "rows=25";
    for (int page = 0; page < 6; ++page) {
      const Answer answer = get(query);
      const Texts here = messages(answer);
      seen.insert(seen.end(), here.begin(), here.end());
      forward.push_back(here.front());
      if (page < 5) {
        query = link_named(answer, order.starts_with("sort") ? "Next" : order.empty() ? "Older" : "Newer");
      } else {
        EXPECT_THAT(answer.body, Not(HasSubstr("rel=\"next\"")));
      }
    }
    EXPECT_EQ(seen.size(), 130U) << order;
    std::sort(seen.begin(), seen.end());
    EXPECT_EQ(std::unique(seen.begin(), seen.end()), seen.end()) << order;
    for (int page = 4; page >= 0; --page) {
      const Answer answer = get(query);
      query = link_named(answer, order.starts_with("sort") ? "Previous" : order.empty() ? "Newer" : "Older");
      EXPECT_EQ(messages(get(query)).front(), forward[static_cast<std::size_t>(page)]) << order << page;
    }
    EXPECT_THAT(get(query).body, Not(HasSubstr("rel=\"prev\""))) << order;
  }
}

TEST_F(WebList, KeepsItsPlaceWhenEntriesComeAndGo) {
  for (int i = 0; i < 60; ++i) {
    add(fmt::format("entry {:02}", i), 0, "ann", "2026-11-21", fmt::format("10:{:02}:00", i));
  }
  const std::string older = link_named(get("rows=25"), "Older");
  add("newest", 0, "ann", "2026-11-22");
  sql(kEventLog, "DELETE FROM ANNAL_EVENT WHERE event_desc = 'entry 35'");
  EXPECT_EQ(messages(get(older)).front(), "entry 34");
}

// --- counts ---

TEST_F(WebList, CountsWhatTheFilterLeaves) {
  for (int i = 0; i < 60; ++i) {
    add("entry", i < 40 ? 0 : 2, i % 3 == 0 ? "ann" : "bob");
  }
  const std::string page = get("rows=25").body;
  EXPECT_THAT(page, HasSubstr("60 entries."));
  EXPECT_THAT(page, HasSubstr(">information</bdi></a><span class=\"number\">40</span>"));
  EXPECT_THAT(page, HasSubstr(">bob</bdi></a><span class=\"number\">40</span>"));
  const std::string errors = get("level=error").body;
  EXPECT_THAT(errors, HasSubstr("20 entries."));
  EXPECT_THAT(errors, HasSubstr(">ann</bdi></a><span class=\"number\">6</span>"));
  EXPECT_THAT(errors, Not(HasSubstr(">information</bdi></a><span")));
}

TEST_F(WebList, CountsOverTimeAndLeadsToEachBar) {
  for (int day = 1; day <= 20; ++day) {
    for (int i = 0; i < day; ++i) {
      add("entry", i % 3, "ann", fmt::format("2026-11-{:02}", day), "12:00:00");
    }
  }
  const Answer answer = get();
  const Texts counts = between(answer.body, "</a></th><td>", "</td>");
  EXPECT_EQ(counts.size(), 20U);
  EXPECT_EQ(counts.back(), "20");
  for (const char* bar : {"2026-11-17 12:00:00", "2026-11-03 12:00:00"}) {
    const Answer one = get(link_named(answer, bar));
    EXPECT_THAT(one.body, HasSubstr(fmt::format("{} entries.", std::stoi(std::string(bar).substr(8, 2))))) << bar;
  }
}

// --- repeats ---

TEST_F(WebList, FoldsRepeatsAndKeepsTheirNumber) {
  for (int i = 0; i < 30; ++i) {
    add(fmt::format("Failed password for ann from 10.0.0.{} port {}", i, 1000 + i), 1, "ann", "2026-11-21",
        fmt::format("10:{:02}:00", i));
  }
  add("Disk 1 failed", 2, "ann", "2026-11-21", "11:00:00");
  const Answer answer = get("fold=1");
  EXPECT_THAT(messages(answer), ElementsAre("Disk 1 failed", "Failed password for ann from 10.0.0.29 port 1029"));
  EXPECT_THAT(answer.body, HasSubstr("<strong>×30</strong> to <bdi dir=\"ltr\">2026-11-21 10:00:00</bdi>"));
  EXPECT_THAT(answer.body, HasSubstr("31 entries."));
}

TEST_F(WebList, FoldsEachEntryIntoOnePageAlone) {
  constexpr int kKinds = 40;
  const auto entries_on = [](const Answer& answer) {
    const auto counts = between(answer.body, "<strong>×", "<");
    std::size_t entries = messages(answer).size() - counts.size();
    for (const std::string& count : counts) {
      entries += std::stoul(count);
    }
    return entries;
  };
  for (int i = 0; i < 400; ++i) {
    add(std::string("kind ") + static_cast<char>('A' + i % kKinds) + " is here", 0, "ann", "2026-11-21",
        fmt::format("{:02}:{:02}:00", 10 + i / 60, i % 60));
  }
  for (const auto& [way, back] : {std::pair("Older", "Newer"), {"Newer", "Older"}}) {
    // To the last page, and back.
    std::string query = std::string("fold=1&rows=25") + (std::string("Newer") == way ? "&order=rising" : "");
    Answer answer = get(query);
    std::size_t all = entries_on(answer);
    EXPECT_THAT(answer.body, Not(HasSubstr("rel=\"prev\"")));
    while (answer.body.find("rel=\"next\"") != std::string::npos) {
      answer = get(link_named(answer, way));
      all += entries_on(answer);
    }
    EXPECT_EQ(all, 400U);
    all = entries_on(answer);
    while (answer.body.find("rel=\"prev\"") != std::string::npos) {
      answer = get(link_named(answer, back));
      EXPECT_LE(messages(answer).size(), 25U);
      all += entries_on(answer);
    }
    EXPECT_EQ(all, 400U);
  }
}

// --- an entry ---

TEST_F(WebList, ShowsAnEntryWithThoseAroundItAndKeepsTheFilter) {
  for (int i = 1; i <= 40; ++i) {
    add(fmt::format("entry {}", i), i == 20 ? 2 : 0);
  }
  const Answer answer = get("level=error&entry=event:20&rows=25");
  EXPECT_EQ(messages(answer).size(), 31U);
  EXPECT_EQ(between(answer.body, "<tr class=\"error marked\"", ">").size(), 1U);
  EXPECT_EQ(between(answer.body, " left-out\"", ">").size(), 30U);
  EXPECT_EQ(link_named(answer, "Back to the list"), "level=error&rows=25");
  EXPECT_THAT(answer.body, HasSubstr("<dt>event_app_name</dt><dd>Storage</dd>"));
  EXPECT_THAT(answer.body, HasSubstr("<dt>event_type</dt><dd>2 <span class=\"quiet\">(error)</span></dd>"));
  EXPECT_EQ(get("entry=event:4711").status, 404);
  EXPECT_EQ(get("log=notice&entry=event:20").status, 404);
}

TEST_F(WebList, ShowsWhatTheCodesOfAnEntryMean) {
  ASSERT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OK);
  sql("/etc/logs/notice.log",
      "INSERT INTO ANNAL_NOTICE (severity, time, desc, facility) VALUES (4, 1795392000, 'x', 1000);");
  const std::string notice = get("entry=notice:1").body;
  EXPECT_THAT(notice, HasSubstr("<dt>severity</dt><dd>4 <span class=\"quiet\">(warning)</span></dd>"));
  EXPECT_THAT(notice, HasSubstr("<dt>time</dt><dd>1795392000 <span class=\"quiet\">(2026-11-23 "));
  EXPECT_THAT(notice, HasSubstr("<dt>facility</dt><dd>1000</dd>"));  // has no name
  ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
  sql("/etc/logs/conn.log", "INSERT INTO ANNAL_CONN (conn_type, conn_action_result) VALUES ('<b>', 13);");
  const std::string connection = get("entry=conn:1").body;
  EXPECT_THAT(connection, HasSubstr("<dt>conn_type</dt><dd>&lt;b&gt;</dd>"));
  EXPECT_THAT(connection, HasSubstr("<dt>conn_action_result</dt><dd>13 <span class=\"quiet\">(failed)</span></dd>"));
}

// --- logs that cannot be read ---

TEST_F(WebList, SaysThatThereIsNoLogAndCreatesNone) {
  const Answer answer = get("log=conn");
  EXPECT_EQ(answer.status, 404);
  EXPECT_THAT(answer.body, HasSubstr("there is no log of connections yet"));
  EXPECT_FALSE(annal::test::exists("/etc/logs/conn.log"));
  EXPECT_EQ(get().status, 200);
  annal::test::remove_log_folder();
  EXPECT_THAT(get().body, HasSubstr("There is no log yet."));
}

TEST_F(WebList, SaysWhyALogCannotBeReadAndShowsTheOthers) {
  add("one");
  std::ofstream("/etc/logs/conn.log") << "this is no database, whatever its name is";
  sql("/etc/logs/notice.log", "CREATE TABLE somebody_elses (a)");
  const Answer answer = get();
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(messages(answer), ElementsAre("one"));
  EXPECT_THAT(answer.body, HasSubstr("it is not a database"));
  EXPECT_THAT(answer.body, HasSubstr("the log has no table yet"));
  EXPECT_EQ(get("log=conn").status, 503);
}

TEST_F(WebList, SurvivesADamagedLog) {
  for (int i = 0; i < 2000; ++i) {
    add(fmt::format("entry {}", i));
  }
  std::fstream file(kEventLog, std::ios::in | std::ios::out | std::ios::binary);
  for (int page = 3; page < 40; ++page) {
    file.seekp(page * 4096);
    file << std::string(600, '\xff');
  }
  file.close();
  const Answer answer = get("log=event");
  EXPECT_EQ(answer.status, 503);
  EXPECT_THAT(answer.body, HasSubstr("cannot be read"));
}

TEST_F(WebList, ReadsAndLeavesNothingBehind) {
  add("one");
  sql(kEventLog, "PRAGMA user_version = 7");
  struct stat before {};
  ASSERT_EQ(stat(kEventLog, &before), 0);
  EXPECT_EQ(get().status, 200);
  EXPECT_EQ(get_path("/download/entries.csv").status, 200);
  struct stat after {};
  ASSERT_EQ(stat(kEventLog, &after), 0);
  EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
  EXPECT_FALSE(annal::test::exists("/etc/logs/event.log-journal"));
}

TEST_F(WebList, GivesUpALogThatStaysLocked) {
  add("one");
  const annal::test::LockHolder holder(kEventLog);
  const Answer answer = get();
  EXPECT_EQ(answer.status, 503);
  EXPECT_THAT(answer.body, HasSubstr("took too long"));
  EXPECT_THAT(answer.errors, testing::StartsWith("annal-web: waiting for /etc/logs/event.log"));
}
