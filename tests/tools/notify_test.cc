// annalctl notify: the notification command's arguments, and refusals.
#include <cstdlib>

#include "tests/tools/annalctl.h"

namespace {

using annal::test::Row;
using Texts = std::vector<std::string>;

constexpr const char* kCommand = "/usr/local/sbin/notify";

class AnnalctlNotify : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    commands.install(kCommand);
    for (const char* variable : {"HTTP_CLIENT_ID", "HTTP_CLIENT_APP", "HTTP_CLIENT_AGENT"}) {
      unsetenv(variable);
    }
  }

  static Finished notify(Texts options, const Texts& values = {}) {
    options.insert(options.begin(), {"notify", "--category", "C777", "--template", "{0} is hot."});
    options.insert(options.end(), {"A777", "7"});
    options.insert(options.end(), values.begin(), values.end());
    return annalctl(options);
  }

  Row vector_for(const Texts& options, const Texts& values = {}) {
    commands.reset();
    const Finished sent = notify(options, values);
    EXPECT_EQ(sent.status, 0) << sent.err;
    EXPECT_EQ(sent.out + sent.err, "");
    const auto runs = commands.wait_for(1);
    return runs.empty() ? Row() : runs[0].arguments;
  }
};

}  // namespace

TEST_F(AnnalctlNotify, SendsTheMessageAndItsValues) {
  EXPECT_EQ(vector_for({}), Row({kCommand, "send2", "-t0", "-l1", "-AA777", "-CC777", "-M7", "{0} is hot."}));
  EXPECT_EQ(vector_for({"--level", "error", "--type", "3"}, {"Disk 1", ""}),
            Row({kCommand, "send2", "-t3", "-l4", "-AA777", "-CC777", "-M7", "{0} is hot.", "Disk 1", ""}));
  EXPECT_EQ(vector_for({"--level", "warning"}).at(3), "-l2");
}

TEST_F(AnnalctlNotify, SendsAMessageOfTheCatalogWithItsLevel) {
  const Finished sent = annalctl({"notify", "A011", "7", "60", "--user", "ann"});
  EXPECT_EQ(sent.status, 0) << sent.err;
  const auto runs = commands.wait_for(1);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].arguments,
            Row({kCommand, "send2", "--user=ann", "-t0", "-l2", "-AA011", "-CC002", "-M7",
                 "[External Device] Detected UPS power loss. Shutting down NAS in {0} second(s).", "60"}));
}

TEST_F(AnnalctlNotify, SendsAnErrorOfTheCatalogAsOne) {
  EXPECT_EQ(annalctl({"notify", "A049", "16", "Main unit", "2"}).status, 0);
  ASSERT_EQ(commands.wait_for(1).size(), 1U);  // detached: without this wait the next one could record first
  EXPECT_EQ(annalctl({"notify", "A049", "16", "Main unit", "2", "--level", "information"}).status, 0);
  const auto runs = commands.wait_for(2);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0].arguments.at(3), "-l4");
  EXPECT_EQ(runs[1].arguments.at(3), "-l1");
}

TEST_F(AnnalctlNotify, SendsTheClientDetails) {
  EXPECT_EQ(vector_for({"--ip", "10.0.0.5", "--user", "ann", "--computer", "pc", "--client-id", "i", "--client-app",
                        "a", "--client-agent", "g"},
                       {"1", "2", "3", "4", "5", "6", "7", "8"}),
            Row({kCommand,
                 "send2",
                 "--ip=10.0.0.5",
                 "--user=ann",
                 "--comp=pc",
                 "--client_id=i",
                 "--client_app=a",
                 "--client_agent=g",
                 "-t0",
                 "-l1",
                 "-AA777",
                 "-CC777",
                 "-M7",
                 "{0} is hot.",
                 "1",
                 "2",
                 "3",
                 "4",
                 "5",
                 "6",
                 "7",
                 "8"}));
}

TEST_F(AnnalctlNotify, RefusesParametersThatTheLibraryWouldDrop) {
  const Texts fourteen(14, "x");
  const Texts fifteen(15, "x");
  EXPECT_EQ(vector_for({}, fourteen).size(), 22U);
  EXPECT_EQ(notify({}, fifteen).status, 2);
  EXPECT_EQ(notify({"--user", "ann"}, fourteen).status, 2);
  setenv("HTTP_CLIENT_APP", "Browser", 1);
  EXPECT_EQ(notify({}, fourteen).status, 2);
  unsetenv("HTTP_CLIENT_APP");
  EXPECT_EQ(notify({}, {std::string(10240, 'x')}).status, 2);
  EXPECT_EQ(vector_for({}, {std::string(10000, 'x')}).back().size(), 10000U);
}

TEST_F(AnnalctlNotify, RefusesAnInvalidMessageOrAddress) {
  EXPECT_EQ(annalctl({"notify", "A777", "7"}).status, 2);
  EXPECT_EQ(annalctl({"notify", "A777", "7", "--category", "C777"}).status, 2);
  EXPECT_EQ(annalctl({"notify", "A777", "7", "--template", "x"}).status, 2);
  EXPECT_EQ(annalctl({"notify", "A010", "4"}).status, 2);
  EXPECT_EQ(annalctl({"notify", "A011", "7"}).status, 2);
  EXPECT_EQ(annalctl({"notify", "A011", "7", "60", "61"}).status, 2);
  EXPECT_EQ(notify({"--ip", "nonsense"}).status, 2);
  EXPECT_EQ(notify({"--level", "loud"}).status, 2);
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(AnnalctlNotify, ReportsThatTheCommandIsMissing) {
  ASSERT_EQ(std::remove(kCommand), 0);
  const Finished sent = notify({});
  EXPECT_EQ(sent.status, 1);
  EXPECT_NE(sent.err.find("cannot run /usr/local/sbin/notify: No such file"), std::string::npos) << sent.err;
}
