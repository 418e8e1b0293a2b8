// The configuration: what is wrong in it is told with its file, line and key, all at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "tests/export/export_test.h"
#include "tools/export/configuration.h"

namespace annal::test {
namespace {

class ExportConfiguration : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    write_file(folder + "/machine-id", std::string(kAppliance) + "\n");
    head = "state = \"" + folder + "\"\nmachine_id = \"" + folder + "/machine-id\"\n";
  }

  // The complaints about a file, without the file's name in front.
  std::vector<std::string> complaints(const std::string& text, const std::string& only = {}) const {
    const std::string file = folder + "/annal-export.toml";
    write_file(file, text);
    std::vector<std::string> all;
    for (const exporter::Complaint& complaint : exporter::load_configuration(file, only).complaints) {
      EXPECT_EQ(complaint.text().rfind(file, 0), 0) << complaint.text();
      all.push_back(complaint.text().substr(file.size()));
    }
    return all;
  }
  using Texts = std::vector<std::string>;

  std::string head;
  const std::string sink = "[sink.out]\ntype = \"stdout\"\n";
};

TEST_F(ExportConfiguration, OfAFewLinesIsSound) {
  EXPECT_EQ(complaints(head + sink), Texts());
}

TEST_F(ExportConfiguration, NamesTheLineThatIsNoToml) {
  const Texts found = complaints(head + "interval = \n" + sink);
  ASSERT_EQ(found.size(), 1);
  EXPECT_EQ(found.front().rfind(":3: ", 0), 0) << found.front();
}

TEST_F(ExportConfiguration, NamesEachKeyThatIsWrongWithItsLine) {
  const Texts found =
      complaints(head + "interval = 5\ncolour = 1\n[logs]\nevents = true\nconn = 3\nfileop = true\n" +
                 "[sink.out]\ntype = \"stdout\"\nacknowledge = \"never\"\nbatch = \"many\"\nhost = \"x\"\n");
  const auto has = [&found](const std::string& text) {
    return std::any_of(found.begin(), found.end(), [&text](const std::string& one) { return one.rfind(text, 0) == 0; });
  };
  EXPECT_TRUE(has(":3: interval: must be a whole number from 10 to 3600000")) << testing::PrintToString(found);
  EXPECT_TRUE(has(":4: colour: is not a known setting")) << testing::PrintToString(found);
  EXPECT_TRUE(has(":6: logs.events: is not a known setting")) << testing::PrintToString(found);
  EXPECT_TRUE(has(":7: logs.conn: must be true, false or a whole path")) << testing::PrintToString(found);
  EXPECT_TRUE(has(":8: logs.fileop: has no usual place")) << testing::PrintToString(found);
  EXPECT_TRUE(has(":11: sink.out.acknowledge: must be 'exit' or 'input'")) << testing::PrintToString(found);
  EXPECT_TRUE(has(":12: sink.out.batch: must be a whole number")) << testing::PrintToString(found);
  EXPECT_TRUE(has(":13: sink.out.host: is not a known setting")) << testing::PrintToString(found);
  EXPECT_EQ(found.size(), 8) << testing::PrintToString(found);
}

TEST_F(ExportConfiguration, NeedsASinkOfAKnownKind) {
  EXPECT_EQ(complaints(head), Texts{":1: sink: there must be a sink: a table such as [sink.central]"});
  const Texts unknown = complaints(head + "[sink.out]\ntype = \"pigeon\"\n");
  ASSERT_EQ(unknown.size(), 1);
  EXPECT_EQ(unknown.front().rfind(":4: sink.out.type: 'pigeon' is no kind of sink", 0), 0) << unknown.front();
  EXPECT_EQ(complaints(head + "[sink.out]\n"), Texts{":3: sink.out.type: is missing"});
  EXPECT_EQ(complaints(head + sink, "other"), Texts{":3: sink: there is no sink 'other'"});
}

TEST_F(ExportConfiguration, NeedsAStateFolderAndAMachineId) {
  const Texts found = complaints("state = \"/nowhere\"\nmachine_id = \"/etc/hosts\"\n" + sink);
  ASSERT_EQ(found.size(), 2);
  EXPECT_EQ(found[0], ":1: state: /nowhere: No such file or directory");
  EXPECT_EQ(found[1], ":2: machine_id: /etc/hosts has no machine-id, which is 32 hexadecimal digits");
}

// A configuration is checked before the service has been started once.
TEST_F(ExportConfiguration, DoesNotMissTheUsualStateFolderWhichTheServiceCreates) {
  EXPECT_FALSE(std::filesystem::exists("/var/lib/annal-export"));
  EXPECT_EQ(complaints("machine_id = \"" + folder + "/machine-id\"\n" + sink), Texts());
}

TEST_F(ExportConfiguration, ThatIsNotThereIsNamed) {
  const exporter::Configuration configuration = exporter::load_configuration(folder + "/none.toml", "");
  ASSERT_EQ(configuration.complaints.size(), 1);
  EXPECT_EQ(configuration.complaints.front().text(), folder + "/none.toml: there is no such file");
}

TEST_F(ExportConfiguration, LeavesLogsOutAndTakesOthersFromElsewhere) {
  write_file(folder + "/annal-export.toml",
             head + "[logs]\nconn = false\nnotice = false\nfileop = \"/share/operations.db\"\n" + sink);
  const exporter::Configuration configuration = exporter::load_configuration(folder + "/annal-export.toml", "");
  ASSERT_TRUE(configuration.complaints.empty()) << configuration.complaints.front().text();
  ASSERT_EQ(configuration.logs.size(), 2);
  EXPECT_EQ(configuration.logs[0].path, "/etc/logs/event.log");
  EXPECT_EQ(configuration.logs[1].name(), "fileop");
  EXPECT_EQ(configuration.logs[1].path, "/share/operations.db");
  EXPECT_EQ(configuration.appliance, kAppliance);
}

}  // namespace
}  // namespace annal::test
