// Whether a file has changed between two looks.
#include "tools/annalctl/files/file_state.h"

#include "Corix_annal.h"
#include "tests/support/appliance.h"

namespace annalctl {

namespace {

constexpr char kPath[] = "/etc/logs/event.log";

void add_entry() {
  EventRecord record{};
  ASSERT_EQ(annal_event_add_msgid_ex3(&record), ANNAL_OK);
}

class FileStateTest : public annal::test::ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  }
};

TEST_F(FileStateTest, UnwrittenFileKeepsItsState) {
  add_entry();
  const FileState state = state_of(kPath);
  EXPECT_TRUE(state.there());
  EXPECT_EQ(annal_event_query_count(0), 1);
  EXPECT_EQ(state_of(kPath), state);
}

TEST_F(FileStateTest, ChangesWithinOneTickOfTheClockHaveStatesOfTheirOwn) {
  add_entry();
  FileState state = state_of(kPath);
  for (int i = 0; i < 20; ++i) {
    const int missing = 0;
    ASSERT_EQ(annal_event_del(0, &missing), ANNAL_OK);
    add_entry();
    const FileState next = state_of(kPath);
    EXPECT_NE(next.changes, state.changes);
    EXPECT_FALSE(may_be_another_log(state, next));
    state = next;
  }
}

TEST_F(FileStateTest, FileTableOrEarlierStateOfItMayBeAnotherLog) {
  add_entry();
  const FileState state = state_of(kPath);
  FileState other = state;
  ++other.identity.inode;
  EXPECT_TRUE(may_be_another_log(state, other));
  other = state;
  ++other.identity.born;
  EXPECT_TRUE(may_be_another_log(state, other));
  other = state;
  ++other.identity.schema;
  EXPECT_TRUE(may_be_another_log(state, other));
  other = state;
  --other.changes;
  EXPECT_TRUE(may_be_another_log(state, other));
  EXPECT_FALSE(state_of("/etc/logs/no.log").there());
}

}  // namespace

}  // namespace annalctl
