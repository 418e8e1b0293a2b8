// What annal-web answers to, and in which headers.
#include <gmock/gmock.h>

#include "tests/web/cgi.h"

namespace {

using testing::HasSubstr;
using testing::Not;

class WebRequest : public WebTest {};

}  // namespace

TEST_F(WebRequest, AnswersGetAndHeadAlone) {
  for (const char* method : {"POST", "PUT", "DELETE", "OPTIONS", "TRACE", "PATCH", "get", ""}) {
    const Answer answer = get({}, {{"REQUEST_METHOD", method}});
    EXPECT_EQ(answer.status, 405) << method;
    EXPECT_EQ(answer.headers.at("Allow"), "GET, HEAD");
  }
}

TEST_F(WebRequest, AnswersHeadWithTheHeadersOfGetAndNoBody) {
  add("one");
  for (const char* path : {"", "/static/annal.css", "/download/entries.csv", "/nowhere"}) {
    Answer whole = get_path(path);
    Answer head = get({}, {{"REQUEST_METHOD", "HEAD"}, {"PATH_INFO", path}});
    EXPECT_EQ(head.body, "") << path;
    EXPECT_EQ(head.headers, whole.headers) << path;
    EXPECT_NE(whole.body, "") << path;
  }
}

TEST_F(WebRequest, LetsThePageDoNothingButShow) {
  for (const char* path : {"", "/nowhere", "/static/annal.js", "/download/entries.csv"}) {
    const Answer answer = get_path(path);
    const std::string policy = answer.headers.at("Content-Security-Policy");
    EXPECT_THAT(policy, testing::StartsWith("default-src 'none'; "));
    EXPECT_THAT(policy, HasSubstr("script-src 'self';"));
    EXPECT_THAT(policy, HasSubstr("require-trusted-types-for 'script'; trusted-types 'none'"));
    EXPECT_THAT(policy, Not(HasSubstr("unsafe")));
    EXPECT_EQ(answer.headers.at("X-Content-Type-Options"), "nosniff");
    EXPECT_EQ(answer.headers.at("Referrer-Policy"), "no-referrer");
    EXPECT_EQ(answer.headers.at("Cross-Origin-Resource-Policy"), "same-origin");
    EXPECT_EQ(answer.headers.at("Cross-Origin-Opener-Policy"), "same-origin");
  }
  EXPECT_EQ(get().headers.at("Cache-Control"), "no-store");
  EXPECT_EQ(get_path("/download/entries.csv").headers.at("Cache-Control"), "no-store");
}

TEST_F(WebRequest, HasNeitherScriptNorStyleInThePage) {
  add("one", 2);
  const std::string page = get("fold=1").body;
  EXPECT_THAT(page, Not(HasSubstr(" style=")));
  EXPECT_THAT(page, Not(HasSubstr("<style")));
  EXPECT_THAT(page, Not(testing::ContainsRegex("<script[^>]*>[^<]")));
  EXPECT_THAT(page, Not(testing::ContainsRegex(" on[a-z]+=")));
}

TEST_F(WebRequest, RefusesWhatNoPageLinksTo) {
  const std::string long_value(513, 'a');
  std::string many;
  for (int i = 0; i < 101; ++i) {
    many += "rows=25&";
  }
  std::string users;
  for (int i = 0; i < 11; ++i) {
    users += "user=u" + std::to_string(i) + "&";
  }
  for (const std::string& query : {std::string("color=red"),
                                   std::string("where=1"),
                                   std::string("not-since=today"),
                                   std::string("rows=51"),
                                   std::string("rows=25&rows=50"),
                                   std::string("rows=-25"),
                                   std::string("log=other"),
                                   std::string("log=fileop"),
                                   std::string("sort=message"),
                                   std::string("order=up"),
                                   std::string("fold=yes"),
                                   std::string("text=%zz"),
                                   std::string("text=%0"),
                                   std::string("text=a%00b"),
                                   std::string("=1"),
                                   std::string("since=never"),
                                   std::string("since=today&until=yesterday"),
                                   std::string("level=awful"),
                                   std::string("grep=("),
                                   std::string("entry=4711"),
                                   std::string("entry=event:x"),
                                   std::string("after=event:1"),
                                   std::string("after=event:1:2&before=event:1:2"),
                                   "text=" + long_value,
                                   many,
                                   users}) {
    const Answer answer = get(query);
    EXPECT_EQ(answer.status, 400) << query;
    EXPECT_THAT(answer.body, HasSubstr("class=\"note bad\"")) << query;
  }
  EXPECT_EQ(get("text=" + std::string(9000, 'a')).status, 414);
  EXPECT_EQ(get_path("/nowhere").status, 404);
  EXPECT_EQ(get_path("/static/../../../etc/passwd").status, 404);
  EXPECT_EQ(get_path("/download/../entries.csv").status, 404);
}

TEST_F(WebRequest, LeavesOutWhatAFormSendsEmpty) {
  add("one");
  EXPECT_EQ(messages(get("user=&text=&since=&not-user=&least=&rows=25")).size(), 1U);
}

TEST_F(WebRequest, SaysWhenTheServerAsksForNoPassword) {
  EXPECT_THAT(get({}, {{"REMOTE_USER", ""}}).body, HasSubstr("asks for no password"));
  EXPECT_THAT(get().body, Not(HasSubstr("asks for no password")));
}

TEST_F(WebRequest, HandsOutThePagesOwnFiles) {
  EXPECT_EQ(get_path("/static/annal.css").headers.at("Content-Type"), "text/css; charset=utf-8");
  EXPECT_EQ(get_path("/static/uPlot.iife.js").headers.at("Content-Type"), "text/javascript; charset=utf-8");
  EXPECT_EQ(get_path("/static/uPlot-LICENSE").status, 404);
}

TEST_F(WebRequest, SaysThatNothingIsNewToWhoFollows) {
  add("one");
  const Answer first = get("follow=1");
  const Answer again = get("follow=1", {{"HTTP_IF_NONE_MATCH", first.headers.at("ETag")}});
  EXPECT_EQ(again.status, 304);
  EXPECT_EQ(again.body, "");
  add("two");
  const Answer then = get("follow=1", {{"HTTP_IF_NONE_MATCH", first.headers.at("ETag")}});
  EXPECT_EQ(then.status, 200);
  EXPECT_EQ(messages(then).front(), "two");
}

TEST_F(WebRequest, FollowsWithoutScriptsByLoadingThePageAgain) {
  EXPECT_THAT(get("follow=1").body, HasSubstr("<noscript><meta http-equiv=\"refresh\""));
  EXPECT_THAT(get().body, Not(HasSubstr("http-equiv")));
}
