// Regular expressions: matching, named groups, case and refusals.
#include "tools/annalctl/base/regex.h"

#include <gtest/gtest.h>

#include "tools/annalctl/base/failure.h"

namespace annalctl {

TEST(Regex, FindsAPartInTheLettersAsTheyAreOrOfEitherCase) {
  EXPECT_TRUE(Regex("f[a-z]n").found_in("the fan"));
  EXPECT_FALSE(Regex("f[a-z]n").found_in("the FAN"));
  EXPECT_TRUE(Regex("f[a-z]n", Regex::Letters::kOfEitherCase).found_in("the FAN"));
}

TEST(Regex, NamedGroupsComeInOrderAndThoseWithoutAPartAreEmpty) {
  const Regex regex(R"((?P<first>a+)(x)?(?P<second>b+)?(?P<third>c+))");
  EXPECT_EQ(regex.names(), (std::vector<std::string>{"first", "second", "third"}));
  std::vector<std::string_view> groups;
  ASSERT_TRUE(regex.find_groups("..aaccc.", groups));
  EXPECT_EQ(groups, (std::vector<std::string_view>{"aa", "", "ccc"}));
  EXPECT_FALSE(regex.find_groups("..bb", groups));
}

TEST(Regex, BytesThatAreNoUtf8MatchAsBytesOnly) {
  EXPECT_FALSE(Regex("^.$").found_in("\xff"));
  EXPECT_TRUE(Regex("^.$", Regex::Letters::kAsTheyAre, Regex::Text::kBytes).found_in("\xff"));
}

TEST(Regex, WhatIsNoExpressionIsRefusedWithTheReason) {
  try {
    const Regex broken("(a");
    FAIL();
  } catch (const Refusal& refusal) {
    EXPECT_STREQ(refusal.what(), "'(a' is not a regular expression: missing ): (a");
  }
}

}  // namespace annalctl
