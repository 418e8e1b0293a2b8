// What strangers write into a log is shown, and never obeyed.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <array>

#include "tests/web/cgi.h"
#include "tools/web/text.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using WebHostile = WebTest;

// As a number, so that this file does not mislead its readers either.
std::string character(char32_t code) {
  const auto byte = [](char32_t bits) { return static_cast<char>(bits); };
  if (code < 0x80) {
    return {byte(code)};
  }
  if (code < 0x800) {
    return {byte(0xC0 | code >> 6), byte(0x80 | (code & 0x3F))};
  }
  if (code < 0x10000) {
    return {byte(0xE0 | code >> 12), byte(0x80 | (code >> 6 & 0x3F)), byte(0x80 | (code & 0x3F))};
  }
  return {byte(0xF0 | code >> 18), byte(0x80 | (code >> 12 & 0x3F)), byte(0x80 | (code >> 6 & 0x3F)),
          byte(0x80 | (code & 0x3F))};
}

}  // namespace

TEST_F(WebHostile, EscapesMarkupInEveryField) {
  const std::string text = "<script>alert(1)</script>\"'><img src=x onerror=alert(1)>&lt;";
  add(text, 0, text, "2026-11-21", "10:00:00", text);
  add("x", 0, "y", "<b>2026", "\"><i>");
  const std::vector<std::string> queries{"",
                                         "fold=1",
                                         "entry=event:1",
                                         "user=" + url_encoded(text),
                                         "not-app=" + url_encoded(text),
                                         "sort=user&rows=25",
                                         "log=event&sort=time",
                                         "text=" + url_encoded(text)};
  for (const std::string& query : queries) {
    const Answer answer = get(query);
    EXPECT_THAT(answer.body, Not(HasSubstr("<script>a"))) << query;
    EXPECT_THAT(answer.body, Not(HasSubstr("<img"))) << query;
    EXPECT_THAT(answer.body, Not(HasSubstr("\"'>"))) << query;
    EXPECT_THAT(answer.body, Not(HasSubstr("<b>"))) << query;
    EXPECT_THAT(answer.body, Not(HasSubstr("<i>"))) << query;
  }
  EXPECT_THAT(get("color" + url_encoded("<img>") + "=1").body, HasSubstr("&lt;img&gt;"));
}

TEST_F(WebHostile, ShowsWhatWouldTurnATextRound) {
  add("photo_" + character(0x202E) + "gpj.exe");
  EXPECT_THAT(messages(get()), ElementsAre("photo_<span class=\"escape\">\\u{202e}</span>gpj.exe"));
}

TEST_F(WebHostile, TellsAnEscapeFromATextThatLooksLikeOne) {
  add("\\x1b and \x1b[31m");
  EXPECT_THAT(messages(get()), ElementsAre("\\x1b and <span class=\"escape\">\\x1b</span>[31m"));
}

TEST(WebText, ShowsEveryCharacterThatHidesOrSteers) {
  constexpr std::array<char32_t, 36> kHidden{0x01,   0x08,   0x09,   0x0A,   0x0D,   0x1B,   0x7F,   0x85,    0xAD,
                                             0x34F,  0x61C,  0x115F, 0x180E, 0x200B, 0x200C, 0x200D, 0x200E,  0x200F,
                                             0x2028, 0x2029, 0x202A, 0x202B, 0x202D, 0x202E, 0x2060, 0x2066,  0x2067,
                                             0x2068, 0x2069, 0x2800, 0x3164, 0xFE0F, 0xFEFF, 0xFFF9, 0xE0001, 0xE0041};
  for (const char32_t code : kHidden) {
    const std::string hidden = character(code);
    const std::string shown = annal_web::marked("a" + hidden + "b");
    EXPECT_THAT(shown, testing::StartsWith("a<span class=\"escape\">\\"));
    EXPECT_THAT(shown, Not(HasSubstr(hidden)));
  }
  EXPECT_EQ(annal_web::marked("\xff\xfe"), "<span class=\"escape\">\\xff\\xfe</span>");
  EXPECT_EQ(annal_web::marked("日本 é 😀"), "日本 é 😀");
}

TEST(WebText, CutsBetweenCharacters) {
  EXPECT_EQ(annal_web::shortened("日本語", 2), "日本…");
  EXPECT_EQ(annal_web::shortened("日本", 2), "日本");
  EXPECT_EQ(annal_web::encoded("a b&c=/é"), "a%20b%26c%3D%2F%C3%A9");
  EXPECT_EQ(annal_web::grouped(1234567), "1,234,567");
}

TEST_F(WebHostile, LeadsToTextsWithCharactersThatNoAddressMayHave) {
  const std::string user = "a\x1b[2J\r\n%1b " + character(0x202E) + "\xff";
  add("one", 0, user);
  add("other", 0, "b");
  const std::string shown = annal_web::marked(user);
  const std::string link = link_named(get(), "<bdi dir=\"ltr\">" + shown + "</bdi>");
  EXPECT_THAT(link, Not(testing::ContainsRegex("%(0|1|7F)")));
  const Answer answer = get(link);
  EXPECT_THAT(messages(answer), ElementsAre("one"));
  // And so does the form, whose field is sent as it is.
  const std::string sent = between(answer.body, "name=\"user*\" value=\"", "\"").at(0);
  EXPECT_THAT(messages(get("user*=" + url_encoded(sent))), ElementsAre("one"));
  EXPECT_EQ(get("user*=%2500").status, 400);
}

TEST_F(WebHostile, BoundsAPageOfLongTexts) {
  for (int i = 0; i < 50; ++i) {
    add(std::string(100000, '\x02'), 0, std::string(5000, '<'));
  }
  const Answer answer = get("rows=200");
  EXPECT_EQ(answer.status, 200);
  EXPECT_EQ(messages(answer).size(), 50U);
  EXPECT_LT(answer.body.size(), 1U << 20U);
}

TEST_F(WebHostile, CountsNoMoreValuesThanItHasRoomFor) {
  annal::test::sql("/etc/logs/event.log",
                   "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 25000) INSERT INTO "
                   "ANNAL_EVENT (event_type, event_date, event_time, event_user, event_desc) SELECT 0, '2026-11-21', "
                   "'10:00:00', 'user ' || i, 'x' FROM n");
  const Answer answer = get("log=event");
  EXPECT_EQ(answer.status, 200);
  EXPECT_THAT(answer.body, HasSubstr("25,000 entries."));
  EXPECT_THAT(answer.body, HasSubstr("and over 19,992 more"));
}

TEST_F(WebHostile, GivesUpAStatementThatNeverEnds) {
  // Whoever can write the file decides what its table is.
  annal::test::sql(
      "/etc/logs/event.log",
      "DROP TABLE ANNAL_EVENT; CREATE VIEW ANNAL_EVENT AS WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + "
      "1 FROM n) SELECT i AS rowid, i AS event_id, 0 AS event_type, '' AS event_date, '' AS event_time, '' "
      "AS event_user, '' AS event_ip, '' AS event_comp, '' AS event_desc, '' AS event_app_name FROM n");
  const Answer answer = get();
  EXPECT_NE(answer.status, 200);
  EXPECT_EQ(answer.exit_status, 0);
}
