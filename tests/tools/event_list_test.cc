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

TEST_F(AnnalctlList, NewestComeFirstUnlessAskedOtherwise) {
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

TEST_F(AnnalctlList, UsualLimitIsToldWhenItLeftSomethingOut) {
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

TEST_F(AnnalctlList, LargestGroupComesFirstWhenAsked) {
  const Finished finished = annalctl({"event", "group", "--by", "user", "--by-size", "--json", "--limit", "1"});
  const Json group = Json::parse(finished.out);
  EXPECT_EQ(group["event_user"], "ben");
  EXPECT_EQ(group["count"], 40);
}

TEST_F(AnnalctlList, GeneralOptionsMayStandBeforeOrBehindTheCommand) {
  EXPECT_EQ(annalctl({"--json", "event", "count"}).out, "{\"count\":60}\n");
  EXPECT_EQ(annalctl({"event", "--json", "count"}).out, "{\"count\":60}\n");
  EXPECT_EQ(annalctl({"event", "count", "--csv"}).out, "count\r\n60\r\n");
  EXPECT_EQ(annalctl({"event", "count"}).out, "60\n");
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
