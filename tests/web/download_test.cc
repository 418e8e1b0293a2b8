// Downloads are what is filtered, all of it and nothing else.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "Corix_annal.h"
#include "tests/web/cgi.h"

namespace {

using annal::test::sql;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using Json = nlohmann::json;

using WebDownload = WebTest;

std::vector<std::string> lines_of(const Answer& answer) {
  std::vector<std::string> lines;
  std::istringstream text(answer.body);
  for (std::string line; std::getline(text, line);) {
    lines.push_back(line);
  }
  return lines;
}

}  // namespace

TEST_F(WebDownload, HasEachEntryOfTheFilterAndEveryColumn) {
  for (int i = 0; i < 1500; ++i) {
    add(fmt::format("entry {}", i), i % 3);
  }
  const Answer answer = get_path("/download/entries.jsonl", "log=event&level=error&rows=25");
  const auto lines = lines_of(answer);
  ASSERT_THAT(lines, SizeIs(500));
  const Json first = Json::parse(lines.front());
  EXPECT_EQ(first["event_desc"], "entry 1499");
  EXPECT_EQ(first["level"], "error");
  EXPECT_TRUE(first.contains("event_client_agent"));
  EXPECT_THAT(lines_of(get_path("/download/entries.csv", "log=event&level=error")), SizeIs(501));
}

TEST_F(WebDownload, IsNamedAfterApplianceLogAndTime) {
  add("one");
  std::array<char, 256> host{};
  ASSERT_EQ(gethostname(host.data(), host.size() - 1), 0);
  const std::string time = "-[0-9]{4}-[0-9]{2}-[0-9]{2}-[0-9]{4}";
  for (const auto& [file, query, log, end] : {std::array{"entries.jsonl", "log=event", "event", ".jsonl"},
                                              {"entries.csv", "", "all", ".csv"},
                                              {"entries-for-spreadsheet.csv", "", "all", "-for-spreadsheet.csv"}}) {
    const Answer answer = get_path(std::string("/download/") + file, query);
    EXPECT_THAT(
        answer.headers.at("Content-Disposition"),
        testing::MatchesRegex("attachment; filename=\"" + std::string(host.data()) + "-" + log + time + end + "\""));
  }
}

TEST_F(WebDownload, SaysWhyThereIsNone) {
  add("one");
  const Answer answer = get_path("/download/entries.csv", "log=conn");
  EXPECT_EQ(answer.status, 404);
  EXPECT_THAT(answer.body, HasSubstr("Connections: there is no log of connections yet."));
}

TEST_F(WebDownload, BringsAllLogsTogetherByTheirTimes) {
  ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
  for (int i = 0; i < 10; ++i) {
    add("event", 0, "ann", "2026-11-21", fmt::format("10:{:02}:00", 2 * i));
    sql("/etc/logs/conn.log",
        fmt::format("INSERT INTO ANNAL_CONN (conn_type, conn_date, conn_time) VALUES (1, '2026-11-21', '10:{:02}:00')",
                    2 * i + 1));
  }
  const auto lines = lines_of(get_path("/download/entries.jsonl"));
  ASSERT_THAT(lines, SizeIs(20));
  for (std::size_t i = 0; i < lines.size(); ++i) {
    EXPECT_EQ(Json::parse(lines[i])["time"], fmt::format("10:{:02}:00", 19 - i));
  }
}

TEST_F(WebDownload, LeavesTextsAsTheyAreUnlessASpreadsheetIsToReadThem) {
  add("=1+1", 0, "-5", "2026-11-21", "10:00:00", "@SUM(A1)");
  const std::string plain = get_path("/download/entries.csv", "log=event").body;
  EXPECT_THAT(plain, HasSubstr(",=1+1,"));
  EXPECT_THAT(plain, HasSubstr(",@SUM(A1),"));
  const std::string safe = get_path("/download/entries-for-spreadsheet.csv", "log=event").body;
  EXPECT_THAT(safe, HasSubstr(",'=1+1,"));
  EXPECT_THAT(safe, HasSubstr(",'@SUM(A1),"));
  EXPECT_THAT(safe, HasSubstr(",-5,"));
}

// Where the comma belongs to numbers, spreadsheets divide a file at its semicolons.
TEST_F(WebDownload, LeavesNoFormulaWhereverASpreadsheetDividesTheFile) {
  const struct {
    const char* logged;
    const char* safe;
  } cases[] = {
      {"x;=1+1", ",x;'=1+1,"},
      {"x; =1+1;-2;3", ",x;' =1+1;'-2;3,"},
      {"x\t@SUM(A1)", ",x\t'@SUM(A1),"},
      {" =1+1", ",' =1+1,"},
      {"x;\"=1+1", ",\"x;'\"\"=1+1\","},
      {"x\n=1+1", ",\"x\n'=1+1\","},
      {"a=1; b-2; c;", ",a=1; b-2; c;,"},
      {"x\r\n\r\ny\t\tz; ", ",\"x\r\n\r\ny\t\tz; \","},
      {"\t=1+1", ",'\t'=1+1,"},
  };
  for (const auto& [logged, safe] : cases) {
    SCOPED_TRACE(logged);
    add(logged);
    EXPECT_THAT(get_path("/download/entries-for-spreadsheet.csv", "log=event").body, HasSubstr(safe));
  }
}

TEST_F(WebDownload, TellsASpreadsheetAloneItsEncoding) {
  add("Käse");
  const std::string mark = "\xEF\xBB\xBF";
  const std::string plain = get_path("/download/entries.csv", "log=event").body;
  EXPECT_THAT(plain, Not(HasSubstr(mark)));
  EXPECT_EQ(get_path("/download/entries-for-spreadsheet.csv", "log=event").body, mark + plain);
}

TEST_F(WebDownload, SaysAtItsEndWhatItLacks) {
  add("one");
  std::ofstream("/etc/logs/conn.log") << "this is no database, whatever its name is";
  const auto lines = lines_of(get_path("/download/entries.jsonl"));
  ASSERT_THAT(lines, SizeIs(2));
  EXPECT_THAT(Json::parse(lines[1])["incomplete"].get<std::string>(), HasSubstr("is not a database"));
  EXPECT_THAT(get_path("/download/entries.csv").body, HasSubstr("incomplete: "));
  EXPECT_EQ(get_path("/download/entries.csv", "log=conn").status, 503);
  EXPECT_EQ(get_path("/download/entries.csv", "color=red").status, 400);
}
