// Lists in which repeats are one entry.
#include <gmock/gmock.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;
using testing::HasSubstr;

class AnnalctlFold : public AnnalctlEventTest {
 protected:
  static void add(const std::string& message, const std::string& user = "---", const std::string& type = "error") {
    ASSERT_EQ(
        annalctl({"event", "add", message, "--user", user, "--type", type, "--time", "2026-11-21 10:00:00"}).status, 0);
  }
};

}  // namespace

TEST_F(AnnalctlFold, ShowsTheNewestOfRepeatsAndTheirNumber) {
  add("Failed password for root from 10.0.0.1 port 22", "root");
  add("Fan 2 failed.");
  add("Failed password for ann from 10.0.0.2 port 2222", "ann");
  add("Failed password for ann from 10.0.0.2 port 2222", "ann", "warning");
  EXPECT_EQ(annalctl({"event", "list", "--fold", "--columns", "id,event_type,message"}).out,
            "ID  event_type  Message\n"
            " 4           1  Failed password for ann from 10.0.0.2 port 2222\n"
            " 3           2  Failed password for ann from 10.0.0.2 port 2222\n"
            " 2           2  Fan 2 failed.\n");
  const std::vector<std::string> lines = lines_of(annalctl({"event", "list", "--fold", "--by-size", "-n", "1"}).out);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_THAT(lines[0], HasSubstr("Count  ID  Date"));
  EXPECT_THAT(lines[1], HasSubstr("    2   3  2026-11-21"));
}

TEST_F(AnnalctlFold, KeepsEveryCountInALongLog) {
  std::ofstream log("/etc/logs/auth.log");
  constexpr int kLines = 2000;
  for (int i = 0; i < kLines; ++i) {
    log << "Nov 21 10:00:00 host sshd[" << 1000 + i << "]: Failed password for user" << i % 77 << " from 10.0.0."
        << i % 250 << " port " << 2000 + i << " ssh2\n";
  }
  log.close();
  ASSERT_EQ(annalctl({"event", "import", "/etc/logs/auth.log"}).status, 0);
  const std::vector<std::string> lines = lines_of(annalctl({"event", "list", "--fold", "--json"}).out);
  ASSERT_EQ(lines.size(), 1U);
  const Json only = Json::parse(lines[0]);
  EXPECT_EQ(only["count"], kLines);
  EXPECT_EQ(only["event_id"], kLines);
}

TEST_F(AnnalctlFold, MeetsTheFiltersAndTheOrder) {
  add("Fan 1 failed.");
  add("Fan 2 failed.");
  add("Disk 1 failed.");
  EXPECT_EQ(annalctl({"event", "list", "--fold", "--text", "Fan", "--columns", "message"}).out,
            "Message\nFan 2 failed.\n");
  EXPECT_EQ(annalctl({"event", "list", "--fold", "--oldest", "--columns", "message"}).out,
            "Message\nFan 2 failed.\nDisk 1 failed.\n");
  EXPECT_EQ(annalctl({"event", "list", "--fold", "--cursor", "x"}).status, 2);
  EXPECT_EQ(annalctl({"event", "list", "--by-size"}).status, 2);
}

TEST_F(AnnalctlFold, EveryLogFolds) {
  const std::vector<std::string> fileop{"fileop", "--db", "/etc/logs/operations.db"};
  ASSERT_EQ(annalctl({"conn", "create"}).status, 0);
  ASSERT_EQ(annalctl({"notice", "create"}).status, 0);
  ASSERT_EQ(annalctl({"fileop", "--db", "/etc/logs/operations.db", "create"}).status, 0);
  for (const char* number : {"1", "2", "3"}) {
    const std::string text = std::string("/share/photo") + number + ".jpg";
    ASSERT_EQ(annalctl({"conn", "add", text}).status, 0);
    ASSERT_EQ(annalctl({"notice", "add", text}).status, 0);
    ASSERT_EQ(annalctl({"fileop", "--db", "/etc/logs/operations.db", "add", text, "--action", "4"}).status, 0);
  }
  for (const std::vector<std::string>& log : {std::vector<std::string>{"conn"}, {"notice"}, fileop}) {
    std::vector<std::string> line = log;
    line.insert(line.end(), {"list", "--fold", "--json"});
    const std::vector<std::string> lines = lines_of(annalctl(line).out);
    ASSERT_EQ(lines.size(), 1U) << log[0];
    EXPECT_EQ(Json::parse(lines[0])["count"], 3) << log[0];
  }
}
