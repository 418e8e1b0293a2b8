// Names for numbers that are the appliance's own.
#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>

#include "tests/tools/annalctl.h"

namespace {

using Texts = std::vector<std::string>;
using testing::HasSubstr;
using testing::Not;

constexpr char kNames[] = "/etc/logs/names.tsv";
constexpr char kDatabase[] = "/etc/logs/operations.db";

class AnnalctlNames : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    ASSERT_EQ(annalctl({"conn", "create"}).status, 0);
    ASSERT_EQ(annalctl({"fileop", "--db", kDatabase, "create"}).status, 0);
    write("# kind, number, name\nservice\t7\tSSH\naction\t9\tlog in\n\noperation\t4\tupload\r\n");
  }

  static void write(const std::string& text) { std::ofstream(kNames) << text; }

  static Finished named(Texts line) {
    line.insert(line.begin(), {"--names", kNames});
    return annalctl(line);
  }
};

}  // namespace

TEST_F(AnnalctlNames, StandInTablesInPlaceOfNumbers) {
  ASSERT_EQ(annalctl({"conn", "add", "/share", "--service", "7", "--action", "9"}).status, 0);
  ASSERT_EQ(annalctl({"conn", "add", "/share", "--service", "8", "--action", "1"}).status, 0);
  ASSERT_EQ(annalctl({"fileop", "--db", kDatabase, "add", "/a", "--action", "4"}).status, 0);
  EXPECT_EQ(named({"conn", "list", "--oldest", "--columns", "service,action"}).out,
            "Service  Action\n    SSH  log in\n      8       1\n");
  EXPECT_EQ(named({"conn", "group", "--by", "service", "--csv"}).out,
            annalctl({"conn", "group", "--by", "service", "--csv"}).out);
  EXPECT_THAT(named({"conn", "group", "--by", "service"}).out, HasSubstr("1      SSH"));
  EXPECT_EQ(named({"fileop", "--db", kDatabase, "list", "--columns", "action"}).out, "Action\nupload\n");
  EXPECT_EQ(named({"conn", "list", "--json"}).out, annalctl({"conn", "list", "--json"}).out);
}

TEST_F(AnnalctlNames, AreTakenByOptionsAsNumbersAre) {
  ASSERT_EQ(named({"conn", "add", "/named", "--service", "ssh", "--action", "Log In"}).status, 0);
  ASSERT_EQ(named({"fileop", "--db", kDatabase, "add", "/a", "--action", "upload"}).status, 0);
  EXPECT_EQ(annalctl({"conn", "list", "--columns", "service,action", "--csv"}).out, "conn_serv,conn_action\r\n7,9\r\n");
  for (const char* service : {"SSH", "7"}) {
    EXPECT_EQ(named({"conn", "count", "--service", service}).out, "1\n");
    EXPECT_EQ(named({"conn", "count", "--not-service", service}).out, "0\n");
  }
  EXPECT_EQ(named({"fileop", "--db", kDatabase, "count", "--action", "upload"}).out, "1\n");
  EXPECT_EQ(named({"conn", "import", "--dry-run", "--service", "SSH", "--action", "log in", "-"}).status, 0);
  EXPECT_EQ(named({"conn", "count", "--service", "FTP"}).status, 2);
  EXPECT_EQ(annalctl({"conn", "count", "--service", "SSH"}).status, 2);
  EXPECT_EQ(named({"conn", "delete", "--action", "log in"}).status, 0);
  EXPECT_EQ(annalctl({"conn", "count"}).out, "0\n");
}

TEST_F(AnnalctlNames, AreInTheHelpOfTheirOptions) {
  EXPECT_THAT(named({"conn", "list", "--help"}).out, HasSubstr("1 to 12, or its name: 7"));
  EXPECT_THAT(named({"fileop", "--db", "x", "add", "--help"}).out, HasSubstr("4 upload"));
  EXPECT_THAT(annalctl({"conn", "list", "--help"}).out, Not(HasSubstr("or its name")));
}

TEST_F(AnnalctlNames, ALineThatCannotBeReadIsToldWithItsNumber) {
  const struct {
    const char* line;
    const char* reason;
  } cases[] = {
      {"service 7 SSH", "a line is a kind, a number and a name, with a TAB between them"},
      {"service\t7", "a line is a kind, a number and a name"},
      {"servce\t7\tSSH", "'servce' is no kind of number: there are service, action and operation"},
      {"service\tseven\tSSH", "'seven' is no number"},
      {"service\t-1\tSSH", "'-1' is no number"},
      {"service\t7\t", "a name has 1 to 64 bytes"},
      {"service\t7\t8", "'8' cannot be a name"},
      {"service\t7\t-x", "'-x' cannot be a name"},
      {"service\t7\tS\x1B[2J", "a name has no control characters"},
      {"service\t7\t SSH", "no blank at its ends"},
      {"service\t1\tSSH", "is there already"},
      {"service\t6\tftp", "is there already"},
  };
  for (const auto& [line, reason] : cases) {
    write(std::string("# names\nservice\t1\tFTP\n") + line + "\n");
    const Finished refused = named({"conn", "list"});
    EXPECT_EQ(refused.status, 2) << line;
    EXPECT_THAT(refused.err, HasSubstr(std::string(kNames) + ":3: ")) << line;
    EXPECT_THAT(refused.err, HasSubstr(reason)) << line;
  }
  std::filesystem::remove(kNames);
  EXPECT_EQ(named({"conn", "list"}).status, 2);
  EXPECT_EQ(annalctl({"--names", "/etc/logs", "conn", "list"}).status, 2);
  EXPECT_EQ(annalctl({"--names", "/dev/zero", "conn", "list"}).status, 2);
}

TEST_F(AnnalctlNames, NoneAreNeeded) {
  const Finished listed = annalctl({"conn", "list"});
  EXPECT_EQ(listed.status, 0);
  EXPECT_EQ(listed.err, "");
}
