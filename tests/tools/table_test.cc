// The table for people, at the widths of their terminals.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/output/text_table.h"

namespace annalctl {

namespace {

constexpr std::array kColumns{
    TableColumn{"ID", 0, true, nullptr, Room::kWhole},
    TableColumn{"Date", 1, false, nullptr, Room::kWhole},
    TableColumn{"Time", 2, false, nullptr, Room::kWhole},
    TableColumn{"Level", 3, false, nullptr, Room::kWhole},
    TableColumn{"User", 4},
    TableColumn{"Address", 5},
    TableColumn{"Message", 6, false, nullptr, Room::kRest},
};
using Values = std::array<const char*, kColumns.size()>;

constexpr Values kLong{"123456",
                       "2026-11-21",
                       "10:00:00",
                       "information",
                       "administrator",
                       "203.0.113.123",
                       "The backup of volume 1 to the other site has ended: 12345 files, none failed, 17 minutes"};
constexpr Values kShort{"7", "2026-11-20", "09:00:00", "error", "---", "---", "Fan 2 failed."};

std::vector<std::string> lines_at(std::size_t width, const std::vector<Values>& rows,
                                  TableWidth shown = TableWidth::kScreen) {
  TextTable table(kColumns, {width > 0, width, 24, false}, shown);
  for (const Values& row : rows) {
    table.add(row);
  }
  std::vector<std::string> lines;
  table.write([&lines](const std::string& line) { lines.push_back(line); });
  return lines;
}

TEST(Table, KeepsIdDateTimeAndLevelWholeAtAnyWidth) {
  for (std::size_t width = 40; width <= 200; ++width) {
    std::string all;
    for (const std::string& line : lines_at(width, {kLong, kShort})) {
      EXPECT_LE(display_width(line), width) << line;
      all += line + "\n";
    }
    for (const char* part : {"123456", "2026-11-21", "10:00:00", "information"}) {
      EXPECT_NE(all.find(part), std::string::npos) << width << "\n" << all;
    }
  }
}

TEST(Table, PutsWhatDoesNotFitInTheFirstLineIntoTheSecond) {
  EXPECT_EQ(lines_at(30, {kLong}).at(2), "123456 2026-11-21 10:00:00");
  EXPECT_EQ(lines_at(30, {kLong}).at(3).substr(0, 15), "  information  ");
}

TEST(Table, TakesTwoLinesForAnEntryOnANarrowTerminal) {
  EXPECT_EQ(
      lines_at(40, {kLong, kShort}),
      (std::vector<std::string>{"    ID Date       Time     Level", "  Message  User  Address",
                                "123456 2026-11-21 10:00:00 information", "  The backup of volume 1 to the other s…",
                                "     7 2026-11-20 09:00:00 error", "  Fan 2 failed."}));
  EXPECT_EQ(lines_at(69, {kLong}).size(), 4U);
}

TEST(Table, TakesOneLineWhereTheMessageHasRoom) {
  const std::vector<std::string> lines = lines_at(120, {kLong, kShort});
  ASSERT_EQ(lines.size(), 3U);
  EXPECT_EQ(lines[0].find("Message"), lines[2].find("Fan 2"));
  EXPECT_NE(lines[1].find("administrator  203.0.113.123  The backup"), std::string::npos) << lines[1];
  EXPECT_EQ(display_width(lines[1]), 120U);
}

TEST(Table, LeavesOutColumnsThatSayNothing) {
  EXPECT_EQ(lines_at(0, {kShort}), (std::vector<std::string>{"ID  Date        Time      Level  Message",
                                                             " 7  2026-11-20  09:00:00  error  Fan 2 failed."}));
  EXPECT_NE(lines_at(0, {kShort}, TableWidth::kAllColumns)[0].find("Address"), std::string::npos);
  EXPECT_NE(lines_at(0, {kShort}, TableWidth::kWide)[0].find("Address"), std::string::npos);
  EXPECT_NE(lines_at(0, {})[0].find("Address"), std::string::npos);
}

TEST(Table, RepeatsItsTitlesWhenALaterEntryHasMoreToSay) {
  TextTable table(kColumns, {}, TableWidth::kScreen);
  std::vector<std::string> lines;
  const auto take = [&lines](const std::string& line) { lines.push_back(line); };
  table.add(kShort);
  table.write(take);
  table.add(kShort);
  table.write(take);
  EXPECT_EQ(lines.size(), 3U);
  table.add(kLong);
  table.write(take);
  ASSERT_EQ(lines.size(), 6U);
  EXPECT_EQ(lines[3], "");
  EXPECT_NE(lines[4].find("User"), std::string::npos);
  table.add(kShort);
  table.write(take);
  EXPECT_EQ(lines.size(), 7U);
}

TEST(Table, IsAsWideAsItsTextsWhenAsked) {
  const std::vector<std::string> lines = lines_at(40, {kLong}, TableWidth::kWide);
  ASSERT_EQ(lines.size(), 2U);
  EXPECT_TRUE(lines[1].ends_with("17 minutes")) << lines[1];
}

}  // namespace

}  // namespace annalctl
