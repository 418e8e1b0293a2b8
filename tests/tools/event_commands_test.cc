// annalctl event: add, create, delete, trim, flush and migrate.
#include <nlohmann/json.hpp>

#include "tests/support/log_file.h"
#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;

Json only_event() {
  const Finished listed = annalctl({"event", "list", "--json"});
  EXPECT_EQ(lines_of(listed.out).size(), 1U) << listed.out;
  return Json::parse(listed.out);
}

void add(const std::vector<std::string>& arguments) {
  std::vector<std::string> all{"event", "add"};
  all.insert(all.end(), arguments.begin(), arguments.end());
  const Finished added = annalctl(all);
  ASSERT_EQ(added.status, 0) << added.err;
  ASSERT_EQ(added.out + added.err, "");
}

}  // namespace

TEST_F(AnnalctlEventTest, AddStoresEveryFieldThatIsGiven) {
  add({"fan stopped",
       "--type",
       "error",
       "--user",
       "admin",
       "--ip",
       "::ffff:10.0.0.5",
       "--computer",
       "nas",
       "--msgid",
       "m1",
       "--time",
       "@1795255200",
       "--app-id",
       "a1",
       "--app",
       "hardware",
       "--category-id",
       "c1",
       "--category",
       "fan",
       "--client-id",
       "k1",
       "--client-app",
       "web",
       "--client-agent",
       "browser"});
  const Json event = only_event();
  EXPECT_EQ(event["event_type"], 2);
  EXPECT_EQ(event["event_desc"], "fan stopped");
  EXPECT_EQ(event["event_user"], "admin");
  EXPECT_EQ(event["event_ip"], "10.0.0.5");
  EXPECT_EQ(event["event_comp"], "nas");
  EXPECT_EQ(event["event_msgid"], "m1");
  EXPECT_EQ(event["event_timet"], 1795255200);
  EXPECT_EQ(event["event_app_id"], "a1");
  EXPECT_EQ(event["event_app_name"], "hardware");
  EXPECT_EQ(event["event_category_id"], "c1");
  EXPECT_EQ(event["event_category"], "fan");
  EXPECT_EQ(event["event_client_id"], "k1");
  EXPECT_EQ(event["event_client_app"], "web");
  EXPECT_EQ(event["event_client_agent"], "browser");
}

TEST_F(AnnalctlEventTest, AddTakesLocalTimeAsItIsShown) {
  add({"x", "--time", "2026-11-21T10:00:07"});
  const Json event = only_event();
  EXPECT_EQ(event["event_date"], "2026-11-21");
  EXPECT_EQ(event["event_time"], "10:00:07");
}

TEST_F(AnnalctlEventTest, AddTakesMessagesThatLookLikeSyntax) {
  for (const char* message : {"list", "event", "{}", "[a,b]", "%s", ""}) {
    add({message});
    const Finished listed = annalctl({"event", "list", "--json", "--sort", "id", "--reverse", "--limit", "1"});
    EXPECT_EQ(Json::parse(listed.out)["event_desc"], message);
  }
  add({"--", "-x"});
  EXPECT_EQ(count(), 7);
}

TEST_F(AnnalctlEventTest, AddAcceptsEachFieldAtItsBoundAndRefusesOneByteMoreByName) {
  struct Bound {
    const char* option;
    const char* label;
    std::size_t bytes;
  };
  const std::vector<Bound> bounds{
      {"--user", "user", 64},
      {"--computer", "computer", 64},
      {"--msgid", "message id", 64},
      {"--app-id", "application id", 64},
      {"--app", "application", 128},
      {"--category-id", "category id", 64},
      {"--category", "category", 128},
      {"--client-id", "client id", 64},
      {"--client-app", "client application", 128},
      {"--client-agent", "client agent", 255},
  };
  for (const Bound& bound : bounds) {
    const std::string fits(bound.bytes, 'a');
    add({"x", bound.option, fits});
    const Finished refused = annalctl({"event", "add", "x", bound.option, fits + "a"});
    EXPECT_EQ(refused.status, 2) << bound.option;
    EXPECT_NE(refused.err.find("the " + std::string(bound.label) + " is"), std::string::npos) << refused.err;
    EXPECT_NE(refused.err.find("at most " + std::to_string(bound.bytes)), std::string::npos) << refused.err;
  }
  EXPECT_EQ(count(), static_cast<int>(bounds.size()));
  EXPECT_EQ(annalctl({"event", "add", std::string(2048, 'm')}).status, 0);
  EXPECT_EQ(annalctl({"event", "add", std::string(2049, 'm')}).status, 2);
}

TEST_F(AnnalctlEventTest, AddRefusesWhatCannotBeStoredAsGiven) {
  for (const std::vector<std::string>& options :
       std::vector<std::vector<std::string>>{{"--ip", "10.0.0"},
                                             {"--time", "yesterday"},
                                             {"--time", "@0"},
                                             {"--time", "@4294967296"},
                                             {"--time", "2026-02-29 10:00:00"},
                                             {"--type", "3"}}) {
    EXPECT_EQ(annalctl({"event", "add", "x", options[0], options[1]}).status, 2) << options[1];
  }
  EXPECT_EQ(count(), 0);
}

TEST_F(AnnalctlEventTest, LevelsHaveNamesShortNamesAndNumbers) {
  for (const char* level : {"warning", "warn", "1"}) {
    add({"x", "--type", level});
  }
  add({"y"});
  EXPECT_EQ(count({"--type", "warn"}), 3);
  EXPECT_EQ(count({"--type", "1"}), 3);
  EXPECT_EQ(count({"--type", "information"}), 1);
  EXPECT_EQ(count({"--type", "all"}), 4);
}

TEST_F(AnnalctlEventTest, CreateAppliesTheLimit) {
  static_cast<void>(std::remove("/etc/logs/event.log"));
  ASSERT_EQ(annalctl({"event", "create", "--limit", "3", "--batch", "2"}).status, 0);
  for (int i = 0; i < 4; ++i) {
    add({"x"});
  }
  EXPECT_EQ(count(), 2);
}

// A full log is scanned once per batch, not for each entry.
TEST_F(AnnalctlEventTest, CreateSetsTheBatchToOnePercentByDefault) {
  struct Choice {
    std::vector<std::string> options;
    std::string condition;
    std::string batch;
  };
  const Choice choices[] = {
      {{}, "WHEN 100000 <", "LIMIT 1000)"},
      {{"--batch", "0"}, "WHEN 100000 <", "LIMIT 1000)"},
      {{"--limit", "250"}, "WHEN 250 <", "LIMIT 2)"},
      {{"--limit", "99"}, "WHEN 99 <", "LIMIT 1)"},
      {{"--batch", "1"}, "WHEN 100000 <", "LIMIT 1)"},
  };
  for (const Choice& choice : choices) {
    static_cast<void>(std::remove("/etc/logs/event.log"));
    std::vector<std::string> arguments{"event", "create"};
    arguments.insert(arguments.end(), choice.options.begin(), choice.options.end());
    ASSERT_EQ(annalctl(arguments).status, 0);
    const std::string trigger =
        annal::test::value("/etc/logs/event.log", "SELECT sql FROM sqlite_master WHERE type = 'trigger'");
    EXPECT_NE(trigger.find(choice.condition), std::string::npos) << trigger;
    EXPECT_NE(trigger.find(choice.batch), std::string::npos) << trigger;
  }
}

TEST_F(AnnalctlEventTest, DeleteRemovesOnlyEqualValues) {
  add({"one", "--user", "ann"});
  add({"two", "--user", "anna"});
  add({"three", "--type", "error"});
  EXPECT_EQ(annalctl({"event", "delete", "--user", "ann"}).status, 0);
  EXPECT_EQ(count(), 2);
  EXPECT_EQ(annalctl({"event", "delete", "--type", "error"}).status, 0);
  EXPECT_EQ(annalctl({"event", "delete", "--message", "no such message"}).status, 0);
  EXPECT_EQ(only_event()["event_desc"], "two");
}

TEST_F(AnnalctlEventTest, DeleteRefusesAQuoteBeforeAnythingIsDeleted) {
  add({"one"});
  const Finished refused = annalctl({"event", "delete", "--user", "x' OR '1'='1"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("single quote"), std::string::npos) << refused.err;
  EXPECT_EQ(count(), 1);
}

TEST_F(AnnalctlEventTest, TrimKeepsTheNewest) {
  add({"old", "--time", "2026-01-01 00:00:00"});
  add({"new", "--time", "2026-02-01 00:00:00"});
  EXPECT_EQ(annalctl({"event", "trim", "1"}).status, 0);
  EXPECT_EQ(only_event()["event_desc"], "new");
}

TEST_F(AnnalctlEventTest, FlushProceedsWithoutATerminal) {
  add({"one"});
  EXPECT_EQ(annalctl({"event", "flush"}).status, 0);
  EXPECT_EQ(count(), 0);
}

TEST_F(AnnalctlEventTest, MigrateLeavesACurrentLogAlone) {
  add({"one"});
  EXPECT_EQ(annalctl({"event", "migrate"}).status, 0);
  EXPECT_EQ(count(), 1);
}
