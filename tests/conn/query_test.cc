// Lists, groups, counts and searches connections, and serves polling clients.
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/suites/searches.h"

namespace annal::test {
namespace {

constexpr const char* kLog = "/etc/logs/conn.log";

const SearchedLog& connections() {
  static const SearchedLog log{
      .path = kLog,
      .table = "ANNAL_CONN",
      .prefix = "conn_",
      .type_begin = "WHERE conn_type = ",
      .type_end = "",
      .exact_users = &is_conn_name_matching,
      .joined = {"ip", "comp", "res", "serv", "action", "app", "action_result", "client_id", "client_app",
                 "client_agent"},
      .orders =
          {
              "ORDER BY conn_date, conn_time",
              "ORDER BY conn_date DESC, conn_time DESC",
              "ORDER BY conn_time, conn_date",
              "ORDER BY conn_time DESC, conn_date DESC",
              "ORDER BY conn_type",
              "ORDER BY conn_type DESC",
              "ORDER BY conn_user",
              "ORDER BY conn_user DESC",
              "ORDER BY conn_ip",
              "ORDER BY conn_ip DESC",
              "ORDER BY conn_comp",
              "ORDER BY conn_comp DESC",
              "ORDER BY conn_id",
              "ORDER BY conn_id DESC",
              "ORDER BY conn_serv",
              "ORDER BY conn_serv DESC",
              "ORDER BY conn_action",
              "ORDER BY conn_action DESC",
              "ORDER BY conn_app",
              "ORDER BY conn_app DESC",
              "ORDER BY conn_action_result",
              "ORDER BY conn_action_result DESC",
          },
      .groupings =
          {
              "GROUP BY conn_id",
              "GROUP BY conn_type",
              "GROUP BY conn_date",
              "GROUP BY conn_time",
              "GROUP BY conn_user",
              "GROUP BY conn_ip",
              "GROUP BY conn_comp",
              "GROUP BY conn_res",
              "GROUP BY conn_serv",
              "GROUP BY conn_action",
              "GROUP BY conn_app",
              "GROUP BY conn_action_result",
          },
      .examples =
          {
              {"period",
               {.texts = {{"date_from", "2020-01-01"}, {"date_to", "2020-02-02"}}},
               false,
               "WHERE (conn_date >= '2020-01-01') AND (conn_date <= '2020-02-02')",
               " AND (conn_date >= '2020-01-01') AND (conn_date <= '2020-02-02')"},
              {"period",
               {.texts = {{"date_from", "2020-01-01"},
                          {"time_from", "10:00:00"},
                          {"date_to", "2020-02-02"},
                          {"time_to", "20:00:00"}}},
               false,
               " WHERE (conn_date||' '||conn_time >= '2020-01-01 10:00:00') AND (conn_date||' '||conn_time <= "
               "'2020-02-02 20:00:00')",
               " AND (conn_date||' '||conn_time >= '2020-01-01 10:00:00') AND (conn_date||' '||conn_time <= "
               "'2020-02-02 "
               "20:00:00')"},
              {"user", {.texts = {{"user", "v'W"}}}, true, "WHERE (conn_user = 'v''W')", " AND (conn_user = 'v''W')"},
              {"user",
               {.texts = {{"user", "v'W"}}},
               false,
               "WHERE (conn_user LIKE '%v''W%')",
               " AND (conn_user LIKE '%v''W%')"},
              {"ip",
               {.texts = {{"ip", "v'W"}}},
               false,
               "WHERE (conn_ip LIKE '%v''W%')",
               " AND (conn_ip LIKE '%v''W%')"},
              {"comp",
               {.texts = {{"comp", "v'W"}}},
               false,
               "WHERE (conn_comp LIKE '%v''W%')",
               " AND (conn_comp LIKE '%v''W%')"},
              {"res",
               {.texts = {{"res", "v'W"}}},
               false,
               "WHERE (conn_res LIKE '%v''W%')",
               " AND (conn_res LIKE '%v''W%')"},
              {"app",
               {.texts = {{"app", "v'W"}}},
               false,
               "WHERE (conn_app LIKE '%v''W%')",
               " AND (conn_app LIKE '%v''W%')"},
              {"client_id",
               {.texts = {{"client_id", "v'W"}}},
               false,
               "WHERE (conn_client_id LIKE '%v''W%')",
               " AND (conn_client_id LIKE '%v''W%')"},
              {"client_app",
               {.texts = {{"client_app", "v'W"}}},
               false,
               "WHERE (conn_client_app LIKE '%v''W%')",
               " AND (conn_client_app LIKE '%v''W%')"},
              {"client_agent",
               {.texts = {{"client_agent", "v'W"}}},
               false,
               "WHERE (conn_client_agent LIKE '%v''W%')",
               " AND (conn_client_agent LIKE '%v''W%')"},
              {"serv", {.numbers = {{"serv", 7}}}, false, "WHERE (conn_serv = 7)", " AND (conn_serv = 7)"},
              {"action", {.numbers = {{"action", 9}}}, false, "WHERE (conn_action = 9)", " AND (conn_action = 9)"},
              {"action_result",
               {.numbers = {{"action_result", 13}}},
               false,
               "WHERE (conn_action_result = 13)",
               " AND (conn_action_result = 13)"},
          },
      .create = [] { ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK); },
  };
  return log;
}

// ---- the searches ----

const std::vector<std::string> kTypeOnly = {"type"};

std::vector<std::string> up_to(const std::string& last) {
  std::vector<std::string> places = {"type", "period", "user"};
  for (const std::string& filter : connections().joined) {
    places.push_back(filter);
    if (filter == last) {
      break;
    }
  }
  return places;
}

SearchFunction function(const char* name, SearchFunction::Kind kind, const std::vector<std::string>& places,
                        decltype(SearchFunction::call) call, std::size_t empty_places = 0) {
  constexpr const char* kBegins[] = {"SELECT * FROM ANNAL_CONN", "SELECT *,COUNT(*) FROM ANNAL_CONN",
                                     "SELECT COUNT(*) FROM ANNAL_CONN"};
  return {.name = name,
          .log = &connections(),
          .kind = kind,
          .begin = kBegins[kind],
          .places = places,
          .call = call,
          .empty_places = empty_places,
          .sorts = 22,
          .orders = 22,
          .takes_path = kind != SearchFunction::kCount};
}

// The functions take these codes as ints, so they may be negative.
constexpr int plain(unsigned code) {
  return static_cast<int>(code);
}

std::vector<SearchFunction> functions() {
  return {
      function("Listing", SearchFunction::kListing, kTypeOnly,
               [](const Search& s, annal_row_callback callback, void* context) {
                 return annal_conn_query(s.path, callback, plain(s.sort), s.start, s.end, plain(s.type), context);
               }),
      function("ListingUpToApplication", SearchFunction::kListing, up_to("app"),
               [](const Search& s, annal_row_callback callback, void* context) {
                 return annal_conn_query_ex(s.path, callback, plain(s.sort), s.start, s.end, plain(s.type),
                                            s.text("date_from"), s.text("date_to"), s.text("user"), s.text("ip"),
                                            s.text("comp"), s.text("res"), s.number("serv"), s.number("action"),
                                            context, s.text("time_from"), s.text("time_to"), s.text("app"));
               }),
      function(
          "ListingUpToResult", SearchFunction::kListing, up_to("action_result"),
          [](const Search& s, annal_row_callback callback, void* context) {
            return annal_conn_query_ex2(
                s.path, callback, plain(s.sort), s.start, s.end, plain(s.type), s.text("date_from"), s.text("date_to"),
                s.text("user"), s.text("ip"), s.text("comp"), s.text("res"), s.number("serv"), s.number("action"),
                context, s.text("time_from"), s.text("time_to"), s.text("app"), s.number("action_result"));
          },
          3),
      function("ListingByClient", SearchFunction::kListing, up_to("client_agent"),
               [](const Search& s, annal_row_callback callback, void* context) {
                 return annal_conn_query_ex3(
                     s.path, callback, plain(s.sort), s.start, s.end, plain(s.type), s.text("date_from"),
                     s.text("date_to"), s.text("user"), s.text("ip"), s.text("comp"), s.text("res"), s.number("serv"),
                     s.number("action"), context, s.text("time_from"), s.text("time_to"), s.text("app"),
                     s.number("action_result"), s.text("client_id"), s.text("client_app"), s.text("client_agent"));
               }),
      function("Count", SearchFunction::kCount, kTypeOnly,
               [](const Search& s, annal_row_callback /*callback*/, void* /*context*/) {
                 return annal_conn_query_count(plain(s.type));
               }),
      function("CountUpToApplication", SearchFunction::kCount, up_to("app"),
               [](const Search& s, annal_row_callback /*callback*/, void* /*context*/) {
                 return annal_conn_query_count_ex(plain(s.type), s.text("date_from"), s.text("date_to"), s.text("user"),
                                                  s.text("ip"), s.text("comp"), s.text("res"), s.number("serv"),
                                                  s.number("action"), s.text("time_from"), s.text("time_to"),
                                                  s.text("app"));
               }),
      function(
          "CountUpToResult", SearchFunction::kCount, up_to("action_result"),
          [](const Search& s, annal_row_callback /*callback*/, void* /*context*/) {
            return annal_conn_query_count_ex2(plain(s.type), s.text("date_from"), s.text("date_to"), s.text("user"),
                                              s.text("ip"), s.text("comp"), s.text("res"), s.number("serv"),
                                              s.number("action"), s.text("time_from"), s.text("time_to"), s.text("app"),
                                              s.number("action_result"));
          },
          3),
      function("CountByClient", SearchFunction::kCount, up_to("client_agent"),
               [](const Search& s, annal_row_callback /*callback*/, void* /*context*/) {
                 return annal_conn_query_count_ex3(plain(s.type), s.text("date_from"), s.text("date_to"),
                                                   s.text("user"), s.text("ip"), s.text("comp"), s.text("res"),
                                                   s.number("serv"), s.number("action"), s.text("time_from"),
                                                   s.text("time_to"), s.text("app"), s.number("action_result"),
                                                   s.text("client_id"), s.text("client_app"), s.text("client_agent"));
               }),
      function("Groups", SearchFunction::kGroups, kTypeOnly,
               [](const Search& s, annal_row_callback callback, void* context) {
                 return annal_conn_query_group(s.path, callback, plain(s.sort), s.start, s.end, plain(s.type), s.group,
                                               context);
               }),
      function("GroupsUpToApplication", SearchFunction::kGroups, up_to("app"),
               [](const Search& s, annal_row_callback callback, void* context) {
                 return annal_conn_query_group_ex(
                     s.path, callback, plain(s.sort), s.start, s.end, plain(s.type), s.text("date_from"),
                     s.text("date_to"), s.text("user"), s.text("ip"), s.text("comp"), s.text("res"), s.number("serv"),
                     s.number("action"), s.group, context, s.text("time_from"), s.text("time_to"), s.text("app"));
               }),
      function("GroupsUpToResult", SearchFunction::kGroups, up_to("action_result"),
               [](const Search& s, annal_row_callback callback, void* context) {
                 return annal_conn_query_group_ex2(s.path, callback, plain(s.sort), s.start, s.end, plain(s.type),
                                                   s.text("date_from"), s.text("date_to"), s.text("user"), s.text("ip"),
                                                   s.text("comp"), s.text("res"), s.number("serv"), s.number("action"),
                                                   s.group, context, s.text("time_from"), s.text("time_to"),
                                                   s.text("app"), s.number("action_result"));
               }),
  };
}

INSTANTIATE_TEST_SUITE_P(OfConnections, EverySearch, testing::ValuesIn(functions()), name_of_search);
INSTANTIATE_TEST_SUITE_P(OfConnections, EveryListingSearch, testing::ValuesIn(listing(functions())), name_of_search);

class ConnSearch : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
    sqlite.reset();
  }
  void TearDown() override {
    annal_event_enable_name_matching(0);
    annal_conn_enable_name_matching(0);
    ApplianceTest::TearDown();
  }

  static int count(const char* user, const char* ip) {
    return annal_conn_query_count_ex(/* type_mode= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr, user, ip,
                                     /* comp= */ nullptr, /* res= */ nullptr, /* serv= */ 0, /* action= */ 0,
                                     /* time_from= */ nullptr, /* time_to= */ nullptr, /* app= */ nullptr);
  }
  int list_groups(const char* group_text) {
    return annal_conn_query_byclientTime_group(&collect, /* levels= */ "0", /* client_time= */ "0", /* days= */ 1,
                                               /* start= */ 0, /* end= */ 0, /* sort= */ 12, group_text, &listing);
  }

  Listing listing;
};

TEST_F(ConnSearch, FindsTextsInEitherCaseAndByWildcards) {
  sql(kLog, "INSERT INTO ANNAL_CONN (conn_ip) VALUES ('192.168.0.1'), ('10.0.0.1'), ('FE80::1'), (''), (NULL);");
  EXPECT_EQ(count(nullptr, "192.168"), 1);
  EXPECT_EQ(count(nullptr, "fe80"), 1);
  EXPECT_EQ(count(nullptr, "1%1"), 2);
  EXPECT_EQ(count(nullptr, "1_.0"), 1);
  EXPECT_EQ(count(nullptr, ""), 4);
  EXPECT_EQ(count(nullptr, nullptr), 5);
}

TEST_F(ConnSearch, MatchesUsersButNotAddressesExactlyIfTheFlagIsSet) {
  sql(kLog, "INSERT INTO ANNAL_CONN (conn_user, conn_ip) VALUES ('adm', '1'), ('admin', '192.168.0.1'), ('', '2');");
  EXPECT_EQ(count("adm", nullptr), 2);
  EXPECT_EQ(annal_conn_enable_name_matching(1), 0);
  EXPECT_EQ(count("adm", nullptr), 1);
  EXPECT_EQ(count("", nullptr), 1);
  EXPECT_EQ(count(nullptr, "192.168"), 1);
  EXPECT_EQ(annal_conn_enable_name_matching(0), 0);
  EXPECT_EQ(count("adm", nullptr), 2);
  for (const int on : {1, 2, -1}) {
    is_conn_name_matching = on;
    EXPECT_EQ(count("adm", nullptr), 1);
  }
  is_conn_name_matching = 0;
  EXPECT_EQ(count("adm", nullptr), 2);
}

TEST_F(ConnSearch, IgnoresTheEventsUserFlag) {
  sql(kLog, "INSERT INTO ANNAL_CONN (conn_user) VALUES ('admin');");
  annal_event_enable_name_matching(1);
  EXPECT_EQ(count("adm", nullptr), 1);
}

TEST_F(ConnSearch, CannotSearchForServiceActionAndResultNone) {
  sql(kLog,
      "INSERT INTO ANNAL_CONN (conn_serv, conn_action, conn_action_result) VALUES (0, 0, 0), (1, 9, 0), (2, "
      "10, 13);");
  const auto count = [](int serv, int action, int result) {
    return annal_conn_query_count_ex2(/* type_mode= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                      /* user= */ nullptr, /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr,
                                      serv, action, /* time_from= */ nullptr,
                                      /* time_to= */ nullptr, /* app= */ nullptr, result);
  };
  EXPECT_EQ(count(0, 0, 0), 3);
  EXPECT_EQ(count(1, 0, 0), 1);
  EXPECT_EQ(count(0, 10, 0), 1);
  EXPECT_EQ(count(0, 0, 13), 1);
}

TEST_F(ConnSearch, ReportsANegativeCountAsFailure) {
  const auto all = [] { return annal_conn_query_count(0); };
  const auto search = [] {
    return annal_conn_query_count_ex2(/* type_mode= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                      /* user= */ nullptr, /* ip= */ nullptr, /* comp= */ nullptr, /* res= */ nullptr,
                                      /* serv= */ 0, /* action= */ 0, /* time_from= */ nullptr, /* time_to= */ nullptr,
                                      /* app= */ nullptr, /* action_result= */ 0);
  };
  const auto poll = [] { return annal_conn_query_byclientTime_count_ex("0,1,2", "0", 30000); };
  for (int (*const function)() : {+all, +search, +poll}) {
    sqlite.answer_next(-7);
    EXPECT_EQ(function(), ANNAL_QUERY_FAILED);
    sqlite.answer_next(0);
    EXPECT_EQ(function(), 0);
  }
}

// ---- the polling clients' queries ----

std::vector<PollFunction> polls() {
  return {
      {.name = "Count",
       .log = &connections(),
       .kind = SearchFunction::kCount,
       .statement =
           "SELECT COUNT(*) FROM (select * from ANNAL_CONN %W) where conn_date||' '||conn_time >= datetime(%T "
           ", 'unixepoch', 'localtime') and conn_date||' '||conn_time >= "
           "datetime(strftime('%s','now')-%D*86400, 'unixepoch', 'localtime') and conn_date||' '||conn_time <= "
           "datetime(strftime('%s','now'), 'unixepoch', 'localtime');",
       .where = "where ",
       .call =
           [](const Poll& poll, annal_row_callback /*callback*/, void* /*context*/) {
             return annal_conn_query_byclientTime_count_ex(poll.levels, poll.client_time, poll.days);
           }},
      {.name = "Listing",
       .log = &connections(),
       .kind = SearchFunction::kListing,
       .statement =
           "SELECT * FROM (select * from ANNAL_CONN %W) where conn_date||' '||conn_time >= datetime(%T , "
           "'unixepoch', 'localtime') and conn_date||' '||conn_time >= datetime(strftime('%s','now')-%D*86400, "
           "'unixepoch', 'localtime') %O %P;",
       .where = "where ",
       .call =
           [](const Poll& poll, annal_row_callback callback, void* context) {
             return annal_conn_query_byclientTime_ex(callback, poll.levels, poll.client_time, poll.days, poll.start,
                                                     poll.end, poll.sort, context);
           },
       .orders = 18},
      {.name = "Groups",
       .log = &connections(),
       .kind = SearchFunction::kGroups,
       .statement =
           "SELECT *,COUNT(*) FROM (select * from ANNAL_CONN %W %X) where conn_date||' '||conn_time >= "
           "datetime(%T , 'unixepoch', 'localtime') and conn_date||' '||conn_time >= "
           "datetime(strftime('%s','now')-%D*86400, 'unixepoch', 'localtime') and conn_date||' '||conn_time <= "
           "datetime(strftime('%s','now'), 'unixepoch', 'localtime') %O %P;",
       .where = "where ",
       .call =
           [](const Poll& poll, annal_row_callback callback, void* context) {
             return annal_conn_query_byclientTime_group(callback, poll.levels, poll.client_time, poll.days, poll.start,
                                                        poll.end, poll.sort, poll.group_text, context);
           },
       .orders = 22},
  };
}

INSTANTIATE_TEST_SUITE_P(OfConnections, EveryPoll, testing::ValuesIn(polls()), name_of_poll);
INSTANTIATE_TEST_SUITE_P(OfConnections, EveryListingPoll, testing::ValuesIn(listing(polls())), name_of_poll);

TEST_F(ConnSearch, ListsTheTablesOwnColumnsForPollingClients) {
  sql(kLog,
      "DROP TABLE ANNAL_CONN; CREATE TABLE ANNAL_CONN (conn_time, conn_date, conn_type, conn_id, extra);"
      "INSERT INTO ANNAL_CONN VALUES (time('now', '-1 second', 'localtime'), date('now', '-1 second', 'localtime'), 0, "
      "5, "
      "'more');");
  EXPECT_EQ(annal_conn_query_byclientTime_ex(&collect, "0", "0", 2, 0, 0, 12, &listing), ANNAL_OK);
  EXPECT_EQ(listing.names, Row({"conn_time", "conn_date", "conn_type", "conn_id", "extra"}));
  EXPECT_EQ(listing.rows.at(0).at(4), "more");
}

// The caller's text groups the inner selection, so the count is the number of groups.
TEST_F(ConnSearch, PutsTheGroupTextAfterTheLevels) {
  sql(kLog, "INSERT INTO ANNAL_CONN (conn_type, conn_user) VALUES (0, 'ann'), (0, 'bob'), (0, 'ann');");
  EXPECT_EQ(list_groups("GROUP BY conn_user"), ANNAL_OK);
  ASSERT_EQ(listing.rows.size(), 1U);
  EXPECT_EQ(listing.names.size(), 16U);
  EXPECT_EQ(listing.names.back(), "COUNT(*)");
  EXPECT_EQ(listing.rows[0].at(15), "2");
  listing = {};
  EXPECT_EQ(list_groups(""), ANNAL_OK);
  EXPECT_EQ(listing.rows.at(0).at(15), "3");
  listing = {};
  EXPECT_EQ(list_groups("AND conn_user = 'bob'"), ANNAL_OK);
  EXPECT_EQ(listing.rows.at(0).at(15), "1");
}

TEST_F(ConnSearch, RefusesANullGroupTextBeforeOpeningAnything) {
  std::remove(kLog);
  EXPECT_EQ(list_groups(nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(kLog));
}

}  // namespace
}  // namespace annal::test
