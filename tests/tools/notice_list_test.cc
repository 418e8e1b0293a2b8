// annalctl notice add, list, count and group.
#include <ctime>
#include <nlohmann/json.hpp>

#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;
using annal::test::Rows;
using annal::test::sql;

constexpr const char* kPath = "/etc/logs/notice.log";
using Texts = std::vector<std::string>;

class AnnalctlNoticeList : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    ASSERT_EQ(annalctl({"notice", "create"}).status, 0);
  }

  // Sixty notices, an hour apart, every third an error of SMART.
  static void put_sixty() {
    sql(kPath,
        "WITH n(i) AS (VALUES(0) UNION ALL SELECT i + 1 FROM n WHERE i < 59) "
        "INSERT INTO ANNAL_NOTICE (time, severity, facility, user, desc, name) "
        "SELECT 1795255200 + 3600 * i, iif(i % 3 = 0, 3, 6), i % 3 = 0, iif(i % 3 = 0, 'ann', 'ben'), 'm' || i, 'n' "
        "FROM n;");
  }

  static Texts descriptions(Texts options) {
    options.insert(options.begin(), {"notice", "list", "--json"});
    Texts texts;
    for (const std::string& line : lines_of(annalctl(options).out)) {
      texts.push_back(Json::parse(line)["desc"]);
    }
    return texts;
  }

  static std::string count(Texts options) {
    options.insert(options.begin(), {"notice", "count"});
    return annalctl(options).out;
  }
};

}  // namespace

// --- add ---

TEST_F(AnnalctlNoticeList, AddStoresEveryOption) {
  const Finished added = annalctl({"notice",     "add",       "it's \"hot\"",
                                   "--severity", "error",     "--facility",
                                   "usb drive",  "--service", "Backup",
                                   "--user",     "ann",       "--ip",
                                   "10.0.0.5",   "--client",  "pc",
                                   "--msgcode",  "m1",        "--varcontent",
                                   "a;b",        "--name",    "heat",
                                   "--link-id",  "l1",        "--link-option",
                                   "o1",         "--title",   "Heat",
                                   "--server",   "-1",        "--action",
                                   "2",          "--varnum",  "3",
                                   "--status",   "4",         "--uid",
                                   "5",          "--gid",     "6"});
  EXPECT_EQ(added.status, 0) << added.err;
  EXPECT_EQ(added.out + added.err, "");
  EXPECT_EQ(sql(kPath,
                "SELECT desc, severity, facility, serviceName, user, ip, client, msgCode, varContent, name, link_id, "
                "link_option, title, server, action, varNum, status, uid, gid FROM ANNAL_NOTICE;"),
            Rows({{"it's \"hot\"", "3", "10", "Backup", "ann", "10.0.0.5", "pc", "m1", "a;b", "heat", "l1", "o1",
                   "Heat", "-1", "2", "3", "4", "5", "6"}}));
}

TEST_F(AnnalctlNoticeList, AddNeedsOnlyTheText) {
  ASSERT_EQ(annalctl({"notice", "add", "--", "-x"}).status, 0);
  EXPECT_EQ(sql(kPath,
                "SELECT desc, severity, facility, serviceName, user, ip, client, msgCode, uid, gid FROM "
                "ANNAL_NOTICE;"),
            Rows({{"-x", "6", "0", "System", "System", "127.0.0.1", "localhost", "0", "-1", "-1"}}));
  EXPECT_EQ(annalctl({"notice", "add"}).status, 2);
}

TEST_F(AnnalctlNoticeList, AddRefusesWhatTheLibraryWouldChangeOrCut) {
  const std::vector<Texts> cases{
      {"x", "--ip", "nonsense"},
      {"x", "--facility", "nonsense"},
      {"x", "--severity", "8"},
      {"x", "--uid", "4294967296"},
      {std::string(2049, 'x')},
      {"x", "--service", std::string(1025, 'x')},
      {"x", "--user", std::string(65, 'x')},
      {"x", "--client", std::string(65, 'x')},
      {"x", "--msgcode", std::string(65, 'x')},
      {"x", "--varcontent", std::string(2049, 'x')},
      {"x", "--name", std::string(129, 'x')},
      {"x", "--link-id", std::string(257, 'x')},
      {"x", "--link-option", std::string(1025, 'x')},
      {"x", "--title", std::string(257, 'x')},
  };
  for (Texts arguments : cases) {
    arguments.insert(arguments.begin(), {"notice", "add"});
    EXPECT_EQ(annalctl(arguments).status, 2) << arguments.at(3 < arguments.size() ? 3 : 2);
  }
  EXPECT_EQ(count({}), "0\n");
}

TEST_F(AnnalctlNoticeList, AddTakesTextsUpToTheirBounds) {
  ASSERT_EQ(annalctl({"notice", "add", std::string(2048, 'd'), "--service", std::string(1024, 's'), "--title",
                      std::string(256, 't'), "--link-option", std::string(1024, 'o')})
                .status,
            0);
  EXPECT_EQ(
      sql(kPath, "SELECT length(desc), length(serviceName), length(title), length(link_option) FROM ANNAL_NOTICE;"),
      Rows({{"2048", "1024", "256", "1024"}}));
}

// --- list ---

TEST_F(AnnalctlNoticeList, NewestComeFirstByDefault) {
  put_sixty();
  EXPECT_EQ(descriptions({"--limit", "2"}), (Texts{"m59", "m58"}));
  EXPECT_EQ(descriptions({"--limit", "2", "--oldest"}), (Texts{"m0", "m1"}));
  EXPECT_EQ(descriptions({"--limit", "1", "--reverse"}), Texts{"m0"});
  EXPECT_EQ(descriptions({"--limit", "1", "--sort", "id", "--offset", "7"}), Texts{"m7"});
  EXPECT_EQ(descriptions({"--all"}).size(), 60U);
  EXPECT_EQ(descriptions({}).size(), 50U);
}

TEST_F(AnnalctlNoticeList, FiltersChooseByTimeSeverityAndCondition) {
  put_sixty();
  EXPECT_EQ(descriptions({"--since", "1795255200", "--until", "@1795262400", "--oldest"}), (Texts{"m0", "m1", "m2"}));
  EXPECT_EQ(descriptions({"--until", "1795269600", "--days", "0"}), Texts{"m4"});
  EXPECT_EQ(descriptions({"--until", "1795341600", "--days", "1", "--severity", "error", "--limit", "1", "--oldest"}),
            Texts{"m0"});
  EXPECT_EQ(descriptions({"--severity", "3", "--limit", "2", "--oldest"}), (Texts{"m0", "m3"}));
  EXPECT_EQ(descriptions({"--where", "id < 3 or id = 5", "--severity", "information", "--oldest"}),
            (Texts{"m1", "m4"}));
  EXPECT_EQ(descriptions({"--where", "id = 5"}), Texts{"m4"});
}

TEST_F(AnnalctlNoticeList, DaysCountFromNowWithoutAnEnd) {
  const std::string now = std::to_string(std::time(nullptr));
  sql(kPath,
      "INSERT INTO ANNAL_NOTICE (desc, time) VALUES ('old', " + now + " - 90000), ('new', " + now + " - 80000);");
  EXPECT_EQ(descriptions({"--days", "1"}), Texts{"new"});
  EXPECT_EQ(count({"--days", "2"}), "2\n");
}

// After 2038 the log's 32-bit numbers wrap around.
TEST_F(AnnalctlNoticeList, FiltersLeaveNoTimeOutUnasked) {
  sql(kPath, "INSERT INTO ANNAL_NOTICE (time, severity) VALUES (-2147483648, 3), (2147483647, 3);");
  EXPECT_EQ(count({"--severity", "error"}), "2\n");
}

TEST_F(AnnalctlNoticeList, ConditionsThatTheLibraryWouldSpoilAreRefused) {
  for (const char* condition : {"user = 'ann'", "user = \"ann\"", "1); DELETE FROM ANNAL_NOTICE; --"}) {
    EXPECT_EQ(annalctl({"notice", "list", "--where", condition}).status, 2) << condition;
  }
  EXPECT_EQ(annalctl({"notice", "list", "--where", "clisant = 1"}).status, 1);
}

TEST_F(AnnalctlNoticeList, TableShowsNamesAndLocalTimes) {
  setenv("TZ", "UTC", 1);
  sql(kPath,
      "INSERT INTO ANNAL_NOTICE (time, severity, facility, serviceName, user, ip, desc) VALUES "
      "(1795255200, 3, 99, 'Backup', 'ann', '10.0.0.5', 'hot'), ('soon', 9, 1000, 'x', 'y', 'z', 'odd');");
  const Texts lines = lines_of(annalctl({"notice", "list", "--sort", "id"}).out);
  unsetenv("TZ");
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[1], " 1  2026-11-21 10:00:00  error     Backup   Background Task  ann   10.0.0.5  hot");
  EXPECT_EQ(lines[2], " 2  soon                 9         x        1000             y     z         odd");
}

TEST_F(AnnalctlNoticeList, ProgramsGetEveryColumn) {
  sql(kPath, "INSERT INTO ANNAL_NOTICE (id, title) VALUES (7, 'Heat');");
  const Json row = Json::parse(annalctl({"notice", "list", "--json"}).out);
  EXPECT_EQ(row.size(), 22U + 3U);
  EXPECT_EQ(row["id"], 7);
  EXPECT_EQ(row["title"], "Heat");
  EXPECT_EQ(row["severity"], nullptr);
}

// --- tail ---

TEST_F(AnnalctlNoticeList, TailShowsTheNewestByTheirIds) {
  put_sixty();
  sql(kPath, "UPDATE ANNAL_NOTICE SET time = 0 WHERE id = 60;");
  const auto shown = [](Texts options) {
    options.insert(options.begin(), {"notice", "tail", "--no-follow", "--json"});
    Texts texts;
    for (const std::string& line : lines_of(annalctl(options).out)) {
      texts.push_back(Json::parse(line)["desc"]);
    }
    return texts;
  };
  EXPECT_EQ(shown({"--lines", "2"}), (Texts{"m58", "m59"}));
  EXPECT_EQ(shown({}).size(), 10U);
  EXPECT_EQ(shown({"--lines", "2", "--severity", "error"}), (Texts{"m54", "m57"}));
  EXPECT_EQ(shown({"--lines", "2", "--where", "id < 4"}), (Texts{"m1", "m2"}));
}

// --- count ---

TEST_F(AnnalctlNoticeList, CountMatchesTheListing) {
  put_sixty();
  EXPECT_EQ(count({}), "60\n");
  EXPECT_EQ(count({"--severity", "error"}), "20\n");
  EXPECT_EQ(count({"--until", "1795269600"}), "5\n");
  EXPECT_EQ(count({"--json"}), "{\"count\":60}\n");
  sql(kPath, "DROP TABLE ANNAL_NOTICE;");
  EXPECT_EQ(annalctl({"notice", "count"}).status, 1);
}

// --- group ---

TEST_F(AnnalctlNoticeList, GroupCountsWhatSharesAValue) {
  put_sixty();
  EXPECT_EQ(annalctl({"notice", "group", "--by", "facility"}).out, "Count  Facility\n   40  0\n   20  SMART\n");
  EXPECT_EQ(annalctl({"notice", "group", "--by", "user"}).out, "Count  User\n   20  ann\n   40  ben\n");
  EXPECT_EQ(annalctl({"notice", "group", "--by", "user", "--by-size", "--limit", "1"}).out,
            "Count  User\n   40  ben\n");
  EXPECT_EQ(annalctl({"notice", "group", "--by", "user", "--severity", "error"}).out, "Count  User\n   20  ann\n");
  EXPECT_EQ(lines_of(annalctl({"notice", "group", "--by", "likeness", "--all"}).out).size(), 61U);
}

TEST_F(AnnalctlNoticeList, GroupKnowsEveryColumn) {
  put_sixty();
  for (const char* by : {"id", "severity", "server", "action", "service", "facility", "time", "endtime", "user", "ip",
                         "client", "description", "msgcode", "varnum", "varcontent", "likeness"}) {
    const Finished grouped = annalctl({"notice", "group", "--by", by, "--json", "--limit", "1"});
    EXPECT_EQ(grouped.status, 0) << by << grouped.err;
    EXPECT_TRUE(Json::parse(grouped.out).contains("count")) << by;
  }
  EXPECT_EQ(annalctl({"notice", "group", "--by", "colour"}).status, 2);
}
