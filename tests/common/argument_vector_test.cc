// Argument vectors, and running them detached.
#include "common/argument_vector.h"

#include <cstdint>
#include <limits>
#include <string>

#include "common/decimal.h"
#include "common/detached.h"
#include "tests/support/appliance.h"

namespace annal::test {
namespace {

constexpr LaunchOptions kAny{
    .first_child = LaunchOptions::FirstChild::kKeepsStreams,
    .session = LaunchOptions::Session::kInherited,
    .streams = LaunchOptions::Streams::kSeparate,
    .script = LaunchOptions::Script::kRefused,
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

TEST_F(ArgumentVectorTest, RunsIfComplete) {
  arguments.format("%s=%d", "level", 4);
  EXPECT_TRUE(arguments.complete());
  run_detached(arguments, kAny);
  const auto runs = commands.wait_for(1);
  ASSERT_EQ(runs.size(), 1U);
  EXPECT_EQ(runs[0].arguments, Row({"/sbin/tool", "level=4"}));
}

// The C library fails to format a wide character that the locale lacks.
TEST_F(ArgumentVectorTest, DoesNotRunIfFormattingAnArgumentFailed) {
  arguments.format("%ls", L"\u20ac");
  EXPECT_FALSE(arguments.complete());
  run_detached(arguments, kAny);
  EXPECT_TRUE(commands.settled().empty());
}

TEST_F(ArgumentVectorTest, JoinsANameAndItsValue) {
  arguments.join("user=", "admin");
  arguments.join("", "");
  arguments.join("alone");
  arguments.join("level=", Decimal(4).text());
  EXPECT_STREQ(arguments.argv()[1], "user=admin");
  EXPECT_STREQ(arguments.argv()[2], "");
  EXPECT_STREQ(arguments.argv()[3], "alone");
  EXPECT_STREQ(arguments.argv()[4], "level=4");
  EXPECT_EQ(arguments.argv()[5], nullptr);
}

// However an argument is added, it and its terminator must fit the remaining room.
TEST_F(ArgumentVectorTest, CutsAnArgumentThatDoesNotFitAndEmptiesLaterOnes) {
  const std::string long_text(10236, 'x');
  ArgumentVector joined;
  ArgumentVector formatted;
  joined.join("abc", long_text);
  formatted.format("abc%s", long_text.c_str());
  for (const ArgumentVector* vector : {&joined, &formatted}) {
    EXPECT_EQ(vector->argv()[0], "abc" + long_text);  // fits exactly
  }
  for (ArgumentVector* vector : {&joined, &formatted}) {
    vector->join("next");
    vector->format("%s", "last");
    EXPECT_STREQ(vector->argv()[1], "");
    EXPECT_STREQ(vector->argv()[2], "");
  }

  ArgumentVector cut;
  cut.join(long_text, "abcdef");
  cut.join("next");
  EXPECT_EQ(cut.argv()[0], long_text + "abc");
  EXPECT_STREQ(cut.argv()[1], "");
}

TEST(DecimalTest, WritesEveryNumber) {
  EXPECT_EQ(Decimal(0).text(), "0");
  EXPECT_EQ(Decimal(std::numeric_limits<int>::min()).text(), "-2147483648");
  EXPECT_EQ(Decimal(std::numeric_limits<std::uint64_t>::max()).text(), "18446744073709551615");
  EXPECT_EQ(Decimal(std::numeric_limits<std::int64_t>::min()).text(), "-9223372036854775808");
}

TEST_F(ArgumentVectorTest, DropsArgumentsBeyondItsCapacity) {
  ArgumentVector two(3);
  two.add("first");
  two.format("%s", "second");
  two.format("%s", "third");
  two.join("fourth=", "4");
  two.add("fifth");
  EXPECT_STREQ(two.argv()[1], "second");
  EXPECT_EQ(two.argv()[2], nullptr);
}

}  // namespace
}  // namespace annal::test
