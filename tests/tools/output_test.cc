// The table, CSV and JSON outputs.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>

#include "tools/annalctl/arguments/page_options.h"
#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/output/output.h"

namespace annalctl {

namespace {

constexpr std::array kTable{TableColumn{"N", 0, true}, TableColumn{"Text", 1}};

RowShape shape() {
  return {{{"number", true}, {"text", false}}, kTable};
}

// A sink's output for some rows.
std::string written(Format format, const Terminal& terminal, const std::vector<std::array<const char*, 2>>& rows) {
  char* buffer = nullptr;
  std::size_t size = 0;
  std::FILE* const stream = open_memstream(&buffer, &size);
  Output output(stream);
  const std::unique_ptr<RowSink> sink = make_sink(format, shape(), terminal, output);
  for (const auto& row : rows) {
    sink->row(row);
  }
  sink->finish();
  static_cast<void>(std::fclose(stream));
  std::string text(buffer, size);
  std::free(buffer);
  return text;
}

constexpr Terminal kFile{};
constexpr Terminal kScreen{true, 20, 24, false};

TEST(JsonSink, NumbersNullAndBadBytesAreValidJson) {
  EXPECT_EQ(written(Format::kJson, kFile, {{"7", "a\"b"}, {nullptr, nullptr}, {"x", "\xff"}}),
            "{\"number\":7,\"text\":\"a\\\"b\"}\n"
            "{\"number\":null,\"text\":null}\n"
            "{\"number\":\"x\",\"text\":\"\xEF\xBF\xBD\"}\n");
}

TEST(JsonSink, TerminalGetsNoControlCharacterInAnyForm) {
  const std::string text = written(Format::kJson, kScreen, {{"1", "\x1b\xC2\x9B\x7F"}});
  EXPECT_EQ(text, "{\"number\":1,\"text\":\"\\u001b\\u009b\\u007f\"}\n");
}

TEST(CsvSink, CellsAreQuotedWhereNeeded) {
  EXPECT_EQ(written(Format::kCsv, kFile, {{"1", "plain"}, {"2", "a,b"}, {"3", "a\"b"}, {"4", "a\nb"}, {nullptr, ""}}),
            "number,text\r\n1,plain\r\n2,\"a,b\"\r\n3,\"a\"\"b\"\r\n4,\"a\nb\"\r\n,\"\"\r\n");
}

TEST(CsvSink, TerminalGetsEscapesAndAFileTheText) {
  EXPECT_EQ(written(Format::kCsv, kScreen, {{"1", "\x1b[2J"}}), "number,text\r\n1,\\x1b[2J\r\n");
  EXPECT_EQ(written(Format::kCsv, kFile, {{"1", "\x1b[2J"}}), "number,text\r\n1,\x1b[2J\r\n");
}

TEST(TableSink, ColumnsAlignByVisibleWidth) {
  EXPECT_EQ(written(Format::kTable, kFile, {{"1", "漢字"}, {"10", nullptr}}), " N  Text\n 1  漢字\n10\n");
}

TEST(TableSink, OnlyATerminalCutsCells) {
  const char* const text = "12345678901234567890";
  EXPECT_EQ(written(Format::kTable, kFile, {{"1", text}}), "N  Text\n1  12345678901234567890\n");
  EXPECT_EQ(written(Format::kTable, kScreen, {{"1", text}}), "N  Text\n1  1234567890123456…\n");
}

TEST(Printable, EscapesWhatCouldSteerATerminal) {
  EXPECT_EQ(printable("a\x1b[31m\tb\n"), "a\\x1b[31m\\x09b\\x0a");
  EXPECT_EQ(printable("\x7f"), "\\x7f");
  EXPECT_EQ(printable("\xC2\x9B"), "\\u{009b}");
  constexpr std::array kRightToLeft{'\xE2', '\x80', '\xAE'};
  EXPECT_EQ(printable({kRightToLeft.data(), kRightToLeft.size()}), "\\u{202e}");
  EXPECT_EQ(printable("\xff\xC0\x80\xED\xA0\x80"), "\\xff\\xc0\\x80\\xed\\xa0\\x80");
  EXPECT_EQ(printable("ü漢"), "ü漢");
  EXPECT_EQ(printable("cut \xE6\xBC"), "cut \\xe6\\xbc");
}

TEST(Clipped, NeverSplitsACharacterOrPassesTheWidth) {
  EXPECT_EQ(clipped("abc", 3), "abc");
  EXPECT_EQ(clipped("abcd", 3), "ab…");
  EXPECT_EQ(clipped("漢字漢字", 4), "漢…");
  EXPECT_EQ(clipped("漢字", 4), "漢字");
  EXPECT_EQ(clipped("abc", 0), "");
  EXPECT_EQ(display_width("e\xCC\x81"), 1U);
}

TEST(Output, FullDeviceIsNoticed) {
  std::FILE* const full = std::fopen("/dev/full", "w");
  ASSERT_NE(full, nullptr);
  Output output(full);
  output.write("x");
  EXPECT_THROW(output.finish(), WriteFailure);
  static_cast<void>(std::fclose(full));
}

TEST(PageOptions, OneRowMoreIsAskedForUnlessTheLimitWasGiven) {
  PageOptions page;
  EXPECT_EQ(page.window().limit, PageOptions::kUsualLimit + 1);
  page.limit = std::numeric_limits<int>::max();
  EXPECT_EQ(page.window().limit, std::int64_t{std::numeric_limits<int>::max()} + 1);
  page.limit_given = true;
  page.limit = 0;
  EXPECT_EQ(page.window().limit, 0);
}

}  // namespace

}  // namespace annalctl
