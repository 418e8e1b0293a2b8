// The file that has a position: it is read back as it was written, or refused with a reason.
#include "tools/export/state.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "tests/export/export_test.h"
#include "tools/export/small_file.h"

namespace annal::test {
namespace {

using exporter::load_state;
using exporter::State;
using exporter::StateFailure;

class ExportState : public ExportTest {
 protected:
  void SetUp() override {
    ExportTest::SetUp();
    save_state(folder, state);
    path = exporter::state_path(folder, "central", "event");
  }

  std::string failure_with(const std::string& appliance, const std::string& sink, const std::string& log) {
    try {
      static_cast<void>(load_state(folder, appliance, sink, log));
    } catch (const StateFailure& failure) {
      return failure.what();
    }
    return {};
  }

  State state{.appliance = kAppliance,
              .sink = "central",
              .log = "event",
              .generation = 3,
              .position = 4711,
              .highest = 4712,
              .file = {.inode = 18446744073709551615U, .born = 1795255200123456789},
              .anchors = {{.id = 4700, .digest = "one"}, {.id = 4711, .digest = "two"}},
              .seal = {.chain = "00ff", .position = 12, .head = 3},
              .sent = 1,
              .missing = 2,
              .refused = 3};
  std::string path;
};

TEST_F(ExportState, IsReadBackAsItWasWritten) {
  const auto read = load_state(folder, kAppliance, "central", "event");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->generation, 3);
  EXPECT_EQ(read->position, 4711);
  EXPECT_EQ(read->highest, 4712);
  EXPECT_TRUE(read->file.same_file(state.file));
  ASSERT_EQ(read->anchors.size(), 2);
  EXPECT_EQ(read->anchors[1].id, 4711);
  EXPECT_EQ(read->anchors[1].digest, "two");
  EXPECT_EQ(read->sent + read->missing * 10 + read->refused * 100, 321);
  EXPECT_EQ(read->seal.chain, "00ff");
  EXPECT_EQ(read->seal.position, 12);
  EXPECT_EQ(read->seal.head, 3);
  EXPECT_GT(read->saved, 0);
  EXPECT_FALSE(load_state(folder, kAppliance, "central", "conn"));
}

TEST_F(ExportState, IsRefusedWithAnyByteChangedOrMissing) {
  const std::string sound = content_of(path);
  for (std::size_t i = 0; i < sound.size(); ++i) {
    std::string changed = sound;
    changed[i] = static_cast<char>(changed[i] ^ 1);
    write_file(path, changed);
    ASSERT_NE(failure_with(kAppliance, "central", "event"), "") << "byte " << i;
    write_file(path, sound.substr(0, i));
    ASSERT_NE(failure_with(kAppliance, "central", "event"), "") << i << " bytes";
  }
  write_file(path, sound);
  EXPECT_EQ(failure_with(kAppliance, "central", "event"), "");
}

TEST_F(ExportState, OfAnotherApplianceSinkOrLogIsRefused) {
  EXPECT_NE(failure_with(kOtherAppliance, "central", "event").find("is of the appliance 0123"), std::string::npos);
  std::filesystem::copy_file(path, exporter::state_path(folder, "other", "event"));
  EXPECT_NE(failure_with(kAppliance, "other", "event").find("is of the sink central"), std::string::npos);
  std::filesystem::copy_file(path, exporter::state_path(folder, "central", "conn"));
  EXPECT_NE(failure_with(kAppliance, "central", "conn").find("the log event"), std::string::npos);
}

TEST_F(ExportState, StaysAsItWasIfItsSuccessorCannotBeWritten) {
  std::filesystem::create_directory(path + ".new");
  state.position = 5000;
  EXPECT_THROW(save_state(folder, state), StateFailure);
  const auto read = load_state(folder, kAppliance, "central", "event");
  ASSERT_TRUE(read);
  EXPECT_EQ(read->position, 4711);
}

TEST_F(ExportState, IsNotDisturbedByASuccessorThatAKillLeftBehind) {
  write_file(path + ".new", "half");
  state.position = 5000;
  save_state(folder, state);
  EXPECT_EQ(load_state(folder, kAppliance, "central", "event").value_or(State{}).position, 5000);
  EXPECT_FALSE(std::filesystem::exists(path + ".new"));
}

TEST_F(ExportState, KeepsTheNewestAnchorsOnly) {
  for (int id = 1; id <= 100; ++id) {
    state.add_anchor({.id = id, .digest = "x"});
  }
  ASSERT_EQ(state.anchors.size(), 8);
  EXPECT_EQ(state.anchors.front().id, 93);
  EXPECT_EQ(state.anchors.back().id, 100);
}

}  // namespace
}  // namespace annal::test
