// The clause for a polling client's levels.
#include "common/level_list.h"

#include <gtest/gtest.h>

#include <string>

namespace annal {
namespace {

std::string condition(const std::string& list) {
  return LevelClause({"", "event_type"}, list.c_str()).text();
}

TEST(LevelList, BeginsWithThePrefix) {
  EXPECT_STREQ(LevelClause({"where ", "event_type"}, "1").text(), "where (event_type =1 )");
  EXPECT_STREQ(LevelClause({"where", "event_type"}, "1").text(), "where(event_type =1 )");
  EXPECT_STREQ(LevelClause({"where ", "event_type"}, "7").text(), "where ");
}

TEST(LevelList, JoinsItsLevelsInTheirOrder) {
  EXPECT_EQ(condition("2,0"), "(event_type =2 ) or (event_type =0 )");
  EXPECT_STREQ(LevelClause({"", "conn_type"}, "1").text(), "(conn_type =1 )");
}

TEST(LevelList, HasRoomForThreeLevels) {
  EXPECT_EQ(condition("0,1,2"), "(event_type =0 ) or (event_type =1 ) or (event_type =2 )");
}

TEST(LevelList, ReadsOnlyTheFirstThreeItems) {
  EXPECT_EQ(condition("0,7,8,1"), "(event_type =0 )");
  EXPECT_EQ(condition("7,8,9,1"), "");
}

TEST(LevelList, KeepsARepeatedLevel) {
  EXPECT_EQ(condition("1,1"), "(event_type =1 ) or (event_type =1 )");
}

TEST(LevelList, DropsInvalidLevels) {
  EXPECT_EQ(condition("7"), "");
  EXPECT_EQ(condition("-1"), "");
  EXPECT_EQ(condition(""), "");
  EXPECT_EQ(condition(",,"), "");
  EXPECT_EQ(condition("3,1"), "(event_type =1 )");
}

TEST(LevelList, ReadsAWordAs0) {
  EXPECT_EQ(condition("x"), "(event_type =0 )");
}

TEST(LevelList, ReadsDecimalNumbers) {
  EXPECT_EQ(condition("a"), "(event_type =0 )");
  EXPECT_EQ(condition("0x1"), "(event_type =0 )");
  EXPECT_EQ(condition("010,02"), "(event_type =2 )");
  EXPECT_EQ(condition(" +1,2 "), "(event_type =1 ) or (event_type =2 )");
}

TEST(LevelList, ReadsAtMost63Characters) {
  EXPECT_EQ(condition("1," + std::string(60, '0') + "1"), "(event_type =1 ) or (event_type =1 )");
  EXPECT_EQ(condition("1," + std::string(61, '0') + "2"), "(event_type =1 ) or (event_type =0 )");
}

TEST(LevelList, OmitsALevelThatDoesNotFit) {
  const LevelClause condition({"", "a_rather_long_name"}, "0,1,2");
  EXPECT_STREQ(condition.text(), "(a_rather_long_name =0 ) or (a_rather_long_name =1 )");
}

}  // namespace
}  // namespace annal
