#include "common/argument_vector.h"

#include "common/detached.h"
#include "tests/support/appliance.h"

namespace annal::test {
namespace {

constexpr Surroundings kAny{
    .first_child = Surroundings::FirstChild::kKeepsStreams,
    .session = Surroundings::Session::kInherited,
    .streams = Surroundings::Streams::kSeparate,
    .script = Surroundings::Script::kRefused,
    .status_without_command = 0,
};

class ArgumentVectorTest : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    commands.install("/sbin/tool");
    arguments.add("/sbin/tool");
  }

  ArgumentVector arguments;
};

TEST_F(ArgumentVectorTest, IsRunWhenItIsComplete) {
  arguments.format("%s=%d", "level", 4);
  EXPECT_TRUE(arguments.complete());
  run_detached(arguments, kAny);
  const auto runs = commands.wait_for(1);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].arguments, Row({"/sbin/tool", "level=4"}));
}

// A wide character that the locale cannot write is what the C library fails on.
TEST_F(ArgumentVectorTest, IsNotRunWithATextThatCouldNotBeFormatted) {
  arguments.format("%ls", L"\u20ac");
  EXPECT_FALSE(arguments.complete());
  run_detached(arguments, kAny);
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(ArgumentVectorTest, DropsWhatIsBeyondItsNumberOfEntries) {
  ArgumentVector two(3);
  two.add("first");
  two.format("%s", "second");
  two.format("%s", "third");
  two.add("fourth");
  EXPECT_STREQ(two.argv()[1], "second");
  EXPECT_EQ(two.argv()[2], nullptr);
}

}  // namespace
}  // namespace annal::test
