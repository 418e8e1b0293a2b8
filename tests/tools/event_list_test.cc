// annalctl event: list, count and group.
#include <nlohmann/json.hpp>

#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;

class AnnalctlList : public AnnalctlEventTest {
 protected:
  // Sixty events, a minute apart, every third a warning.
  void SetUp() override {
    AnnalctlEventTest::SetUp();
    std::string lines;
    for (int i = 0; i < kEvents; ++i) {
      const Json event{{"event_desc", "m" + std::to_string(i)},
                       {"event_type", i % 3 == 0 ? 1 : 0},
                       {"event_user", i % 3 == 0 ? "ann" : "ben"},
                       {"event_timet", 1795255200 + 60 * i}};
      lines += event.dump() + "\n";
    }
    ASSERT_EQ(annalctl({"event", "import", "-"}, lines).status, 0);
  }

  static constexpr int kEvents = 60;

  static std::vector<std::string> messages(std::vector<std::string> options) {
    options.insert(options.begin(), {"event", "list", "--json"});
    std::vector<std::string> texts;
    for (const std::string& line : lines_of(annalctl(options).out)) {
      texts.push_back(Json::parse(line)["event_desc"]);
    }
    return texts;
  }
};

using Texts = std::vector<std::string>;

}  // namespace

TEST_F(AnnalctlList, NewestComeFirstByDefault) {
  EXPECT_EQ(messages({"--limit", "2"}), (Texts{"m59", "m58"}));
  EXPECT_EQ(messages({"--limit", "2", "--newest"}), (Texts{"m59", "m58"}));
  EXPECT_EQ(messages({"--limit", "2", "--oldest"}), (Texts{"m0", "m1"}));
  EXPECT_EQ(messages({"--limit", "2", "--reverse"}), (Texts{"m0", "m1"}));
  EXPECT_EQ(messages({"--limit", "1", "--sort", "id"}), Texts{"m0"});
  EXPECT_EQ(messages({"--limit", "1", "--sort", "timestamp", "--reverse"}), Texts{"m59"});
}

TEST_F(AnnalctlList, PagesAreCutWhereAsked) {
  EXPECT_EQ(messages({"--oldest", "--offset", "10", "--limit", "2"}), (Texts{"m10", "m11"}));
  EXPECT_EQ(messages({"--oldest", "--offset", "58"}), (Texts{"m58", "m59"}));
  EXPECT_EQ(messages({"--limit", "0"}), Texts{});
  EXPECT_EQ(messages({"--limit", "0", "--offset", "5"}), Texts{});
  EXPECT_EQ(messages({"--offset", "2147483647", "--limit", "2147483647"}), Texts{});
  EXPECT_EQ(messages({"--limit", "2147483647", "--offset", "1"}).size(), 59U);
  EXPECT_EQ(messages({"--all"}).size(), 60U);
  EXPECT_EQ(messages({"--all", "--offset", "20"}).size(), 40U);
}

TEST_F(AnnalctlList, DefaultLimitIsReportedIfItOmittedRows) {
  const Finished cut = annalctl({"event", "list", "--csv"});
  EXPECT_EQ(lines_of(cut.out).size(), 51U);
  EXPECT_NE(cut.err.find("--all"), std::string::npos) << cut.err;
  EXPECT_EQ(annalctl({"event", "list", "--offset", "10"}).err, "");
  EXPECT_EQ(annalctl({"event", "list", "--limit", "50"}).err, "");
}

TEST_F(AnnalctlList, TypeFilters) {
  EXPECT_EQ(messages({"--type", "warning", "--all"}).size(), 20U);
  EXPECT_EQ(messages({"--type", "error", "--all"}).size(), 0U);
}

TEST_F(AnnalctlList, TableShowsNamesInsteadOfCodesInAlignedColumns) {
  const std::vector<std::string> lines = lines_of(annalctl({"event", "list", "--limit", "1", "--oldest"}).out);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_EQ(lines[0].find("Level"), lines[1].find("warning"));
  EXPECT_EQ(lines[0].find("Message"), lines[1].find("m0"));
}

TEST_F(AnnalctlList, GroupsAreCountedWithinTheirLevel) {
  const std::vector<std::string> lines = lines_of(annalctl({"event", "group", "--by", "user", "--csv"}).out);
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_TRUE(lines[0].ends_with(",count\r")) << lines[0];
  EXPECT_TRUE(lines[1].ends_with(",20\r")) << lines[1];
  EXPECT_TRUE(lines[2].ends_with(",40\r")) << lines[2];
}

TEST_F(AnnalctlList, LargestGroupComesFirstOnRequest) {
  const Finished finished = annalctl({"event", "group", "--by", "user", "--by-size", "--json", "--limit", "1"});
  const Json group = Json::parse(finished.out);
  EXPECT_EQ(group["event_user"], "ben");
  EXPECT_EQ(group["count"], 40);
}

TEST_F(AnnalctlList, GeneralOptionsMayComeBeforeOrAfterTheCommand) {
  EXPECT_EQ(annalctl({"--json", "event", "count"}).out, "{\"count\":60}\n");
  EXPECT_EQ(annalctl({"event", "--json", "count"}).out, "{\"count\":60}\n");
  EXPECT_EQ(annalctl({"event", "count", "--csv"}).out, "count\r\n60\r\n");
  EXPECT_EQ(annalctl({"event", "count"}).out, "60\n");
}

// One event with a searchable value in every column, between two others.
class AnnalctlSearch : public AnnalctlEventTest {
 protected:
  void SetUp() override {
    AnnalctlEventTest::SetUp();
    ASSERT_EQ(annalctl({"event", "add", "old", "--time", "2020-01-01 10:00:00"}).status, 0);
    ASSERT_EQ(annalctl({"event",          "add",         "m-this",        "--time",       "2026-05-05 12:00:00",
                        "--type",         "warning",     "--user",        "u-this",       "--ip",
                        "10.9.9.9",       "--computer",  "c-this",        "--app-id",     "ai-this",
                        "--app",          "a-this",      "--category-id", "ci-this",      "--category",
                        "ca-this",        "--client-id", "i-this",        "--client-app", "p-this",
                        "--client-agent", "g-this"})
                  .status,
              0);
    ASSERT_EQ(annalctl({"event", "add", "new", "--time", "2030-01-01 10:00:00"}).status, 0);
  }

  static Texts found(Texts options) {
    options.insert(options.begin(), {"event", "list", "--all", "--json"});
    Texts texts;
    for (const std::string& line : lines_of(annalctl(options).out)) {
      texts.push_back(Json::parse(line)["event_desc"]);
    }
    return texts;
  }
};

TEST_F(AnnalctlSearch, EachFilterSelectsByItsColumn) {
  const std::vector<Texts> old{{"--user", "u-th"},
                               {"--exact-user", "u-this"},
                               {"--ip", "10.9"},
                               {"--computer", "C-TH"},
                               {"--text", "m-th"},
                               {"--type", "warning"},
                               {"--since", "2026-05-05", "--until", "2026-05-05"},
                               {"--since", "2026-05-05 12:00:00", "--until", "2026-05-05 12:00:00"}};
  const std::vector<Texts> later{{"--app-id", "ai-th"},      {"--app", "a-th"},
                                 {"--category-id", "ci-th"}, {"--category", "ca-th"},
                                 {"--client-id", "i-th"},    {"--client-app", "p-th"},
                                 {"--client-agent", "g-th"}, {"--user", "u", "--app", "a", "--client-app", "p-"}};
  for (const std::vector<Texts>& filters : {old, later}) {
    for (const Texts& filter : filters) {
      EXPECT_EQ(found(filter), Texts{"m-this"}) << filter[0];
      EXPECT_EQ(count(filter), 1) << filter[0];
    }
  }
  for (const std::vector<Texts>& filters : {old, later}) {
    for (Texts filter : filters) {
      filter.insert(filter.begin(), {"event", "group", "--by", "id", "--csv"});
      EXPECT_EQ(lines_of(annalctl(filter).out).size(), 2U) << filter[5];
    }
  }
  EXPECT_EQ(count({"--exact-user", "u-thi"}), 0);
  EXPECT_EQ(found({"--text", "x' OR 1 --"}), Texts{});
}

TEST_F(AnnalctlSearch, PeriodMayBeOpenAtEitherEnd) {
  EXPECT_EQ(found({"--since", "2026-05-05 12:00:00"}), (Texts{"new", "m-this"}));
  EXPECT_EQ(found({"--since", "2026-05-05 12:00:01"}), Texts{"new"});
  EXPECT_EQ(found({"--until", "2026-05-05 12:00:00"}), (Texts{"m-this", "old"}));
  EXPECT_EQ(found({"--until", "2026-05-05 11:59:59"}), Texts{"old"});
  EXPECT_EQ(found({"--since", "today", "--until", "-1d"}), Texts{});
  EXPECT_EQ(annalctl({"event", "list", "--since", "2026-02-02", "--until", "2026-02-01"}).status, 2);
  const Finished refused = annalctl({"event", "count", "--since", "soon"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("--since: 'soon' is not a time"), std::string::npos) << refused.err;
}

// Whole days are searched by date alone, which has an index. Only an entry without a time shows the difference.
TEST_F(AnnalctlSearch, WholeDaysAreFoundByTheirDates) {
  annal::test::sql("/etc/logs/event.log", "UPDATE ANNAL_EVENT SET event_time = '' WHERE event_desc = 'm-this'");
  EXPECT_EQ(found({"--since", "2026-05-05", "--until", "2026-05-05"}), Texts{"m-this"});
  EXPECT_EQ(found({"--since", "2026-05-05"}), (Texts{"new", "m-this"}));
  EXPECT_EQ(found({"--until", "2026-05-05"}), (Texts{"m-this", "old"}));
  EXPECT_EQ(found({"--since", "2026-05-05", "--until", "2026-05-05 23:59:58"}), Texts{});
  EXPECT_EQ(found({"--since", "2026-05-05 00:00:01", "--until", "2026-05-05"}), Texts{});
}

// The library's own calls refuse these.
TEST_F(AnnalctlSearch, AnyFiltersCombine) {
  for (const Texts& filter : std::vector<Texts>{{"--category-id", "c", "--category", "c"},
                                                {"--client-id", "i", "--app", "a"},
                                                {"--client-app", "p", "--category", "c"},
                                                {"--client-agent", "g", "--category-id", "c"},
                                                {"--client-agent", "g", "--app-id", "a"}}) {
    EXPECT_EQ(found(filter), Texts{"m-this"}) << filter[0];
    EXPECT_EQ(count(filter), 1) << filter[0];
    Texts tail{"event", "tail", "--no-follow", "--csv"};
    tail.insert(tail.end(), filter.begin(), filter.end());
    EXPECT_EQ(lines_of(annalctl(tail).out).size(), 2U) << filter[0];
  }
}

TEST_F(AnnalctlSearch, LaterColumnsCanBeSortedBy) {
  for (const char* sort : {"app-id", "app", "category-id", "category"}) {
    EXPECT_EQ(found({"--sort", sort, "--reverse"}).front(), "m-this") << sort;
    EXPECT_EQ(annalctl({"event", "group", "--by", "id", "--sort", sort}).status, 2) << sort;
  }
}

TEST_F(AnnalctlEventTest, StoredControlCharactersDoNotReachATableRaw) {
  ASSERT_EQ(annalctl({"event", "add", "x", "--user", "\033]0;owned\a", "--app", "bad\xff"}).status, 0);
  const std::string table = annalctl({"event", "list"}).out;
  EXPECT_EQ(table.find('\033'), std::string::npos);
  EXPECT_NE(table.find("\\x1b]0;owned\\x07"), std::string::npos) << table;
  EXPECT_NE(table.find("bad\\xff"), std::string::npos) << table;
  const Json event = Json::parse(annalctl({"event", "list", "--json"}).out);
  EXPECT_EQ(event["event_user"], "\033]0;owned\a");
  EXPECT_EQ(event["event_app_name"], "bad\xEF\xBF\xBD");
}
