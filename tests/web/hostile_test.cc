// What strangers write into a log is shown, and never obeyed.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include "tests/web/cgi.h"
#include "tools/web/text.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

using WebHostile = WebTest;

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
  add("photo_\u202egpj.exe");
  EXPECT_THAT(messages(get()), ElementsAre("photo_<span class=\"escape\">\\u{202e}</span>gpj.exe"));
}

TEST_F(WebHostile, TellsAnEscapeFromATextThatLooksLikeOne) {
  add("\\x1b and \x1b[31m");
  EXPECT_THAT(messages(get()), ElementsAre("\\x1b and <span class=\"escape\">\\x1b</span>[31m"));
}

TEST(WebText, ShowsEveryCharacterThatHidesOrSteers) {
  for (const char* hidden :
       {"\x01",   "\t",     "\n",     "\r",     "\x1b",   "\x7f",       "\u0085",    "\u00ad", "\u034f",
        "\u061c", "\u115f", "\u180e", "\u200b", "\u200c", "\u200d",     "\u200e",    "\u200f", "\u2028",
        "\u2029", "\u202a", "\u202b", "\u202d", "\u202e", "\u2060",     "\u2066",    "\u2067", "\u2068",
        "\u2069", "\u3164", "\ufe0f", "\ufeff", "\ufff9", "\U000e0001", "\U000e0041"}) {
    const std::string shown = annal_web::marked(std::string("a") + hidden + "b");
    EXPECT_THAT(shown, testing::StartsWith("a<span class=\"escape\">\\"));
    EXPECT_THAT(shown, Not(HasSubstr(hidden)));
  }
  EXPECT_EQ(annal_web::marked("\xff\xfe"), "<span class=\"escape\">\\xff\\xfe</span>");
  EXPECT_EQ(annal_web::marked("日本 é 😀 שלום"), "日本 é 😀 שלום");
}

TEST(WebText, CutsBetweenCharacters) {
  EXPECT_EQ(annal_web::shortened("日本語", 2), "日本…");
  EXPECT_EQ(annal_web::shortened("日本", 2), "日本");
  EXPECT_EQ(annal_web::encoded("a b&c=/é"), "a%20b%26c%3D%2F%C3%A9");
  EXPECT_EQ(annal_web::grouped(1234567), "1,234,567");
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
  EXPECT_THAT(answer.body, HasSubstr("and more than 19,992 others"));
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
