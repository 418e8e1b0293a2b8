// Searches events by period, text, application, category and client.
#include <ostream>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/event/searched_log.h"
#include "tests/suites/searches.h"

namespace annal::test {
namespace {

constexpr const char* kLog = "/etc/logs/event.log";

constexpr const char* kListing =
    "SELECT event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, "
    "event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category, "
    "event_client_id, event_client_app, event_client_agent  FROM ANNAL_EVENT";
constexpr const char* kGroups =
    "SELECT event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, "
    "event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category, "
    "event_client_id, event_client_app, event_client_agent  , COUNT(*) FROM ANNAL_EVENT";
constexpr const char* kCount = "SELECT COUNT(*) FROM ANNAL_EVENT";

const std::vector<std::string> kUpToDescription = {"type", "period", "user", "ip", "comp", "desc"};
const std::vector<std::string> kUpToCategory = {"type", "period", "user",     "ip",          "comp",
                                                "desc", "app_id", "app_name", "category_id", "category"};

SearchFunction function(const char* name, SearchFunction::Kind kind, const char* begin,
                        const std::vector<std::string>& places, decltype(SearchFunction::call) call) {
  return {.name = name,
          .log = &searched_events(),
          .kind = kind,
          .begin = begin,
          .places = places,
          .call = call,
          .sorts = 26,
          .orders = 18,
          .pairs_dates = true,
          .pairs_times = kind != SearchFunction::kCount};
}

// The _ex2 forms are the _ex3 forms without the client's filters, whose slots stay empty.
std::vector<SearchFunction> functions() {
  using S = Search;
  const auto all = [] {
    std::vector<std::string> places = kUpToCategory;
    places.insert(places.end(), {"client_id", "client_app", "client_agent"});
    return places;
  }();
  std::vector<SearchFunction> functions = {
      function("Listing", SearchFunction::kListing, kListing, kUpToDescription,
               [](const S& s, annal_row_callback callback, void* context) {
                 return annal_event_query_ex(callback, s.sort, s.start, s.end, s.type, s.text("date_from"),
                                             s.text("date_to"), s.text("user"), s.text("ip"), s.text("comp"),
                                             s.text("desc"), context, s.text("time_from"), s.text("time_to"));
               }),
      function("ListingByCategory", SearchFunction::kListing, kListing, kUpToCategory,
               [](const S& s, annal_row_callback callback, void* context) {
                 return annal_event_query_ex2(
                     callback, s.sort, s.start, s.end, s.type, s.text("date_from"), s.text("date_to"), s.text("user"),
                     s.text("ip"), s.text("comp"), s.text("desc"), context, s.text("time_from"), s.text("time_to"),
                     s.text("app_id"), s.text("app_name"), s.text("category_id"), s.text("category"));
               }),
      function("ListingByClient", SearchFunction::kListing, kListing, all,
               [](const S& s, annal_row_callback callback, void* context) {
                 return annal_event_query_ex3(
                     callback, s.sort, s.start, s.end, s.type, s.text("date_from"), s.text("date_to"), s.text("user"),
                     s.text("ip"), s.text("comp"), s.text("desc"), context, s.text("time_from"), s.text("time_to"),
                     s.text("app_id"), s.text("app_name"), s.text("category_id"), s.text("category"),
                     s.text("client_id"), s.text("client_app"), s.text("client_agent"));
               }),
      function("Count", SearchFunction::kCount, kCount, kUpToDescription,
               [](const S& s, annal_row_callback /*callback*/, void* /*context*/) {
                 return annal_event_query_count_ex(s.type, s.text("date_from"), s.text("date_to"), s.text("user"),
                                                   s.text("ip"), s.text("comp"), s.text("desc"), s.text("time_from"),
                                                   s.text("time_to"));
               }),
      function("CountByCategory", SearchFunction::kCount, kCount, kUpToCategory,
               [](const S& s, annal_row_callback /*callback*/, void* /*context*/) {
                 return annal_event_query_count_ex2(s.type, s.text("date_from"), s.text("date_to"), s.text("user"),
                                                    s.text("ip"), s.text("comp"), s.text("desc"), s.text("time_from"),
                                                    s.text("time_to"), s.text("app_id"), s.text("app_name"),
                                                    s.text("category_id"), s.text("category"));
               }),
      function("CountByClient", SearchFunction::kCount, kCount, all,
               [](const S& s, annal_row_callback /*callback*/, void* /*context*/) {
                 return annal_event_query_count_ex3(s.type, s.text("date_from"), s.text("date_to"), s.text("user"),
                                                    s.text("ip"), s.text("comp"), s.text("desc"), s.text("time_from"),
                                                    s.text("time_to"), s.text("app_id"), s.text("app_name"),
                                                    s.text("category_id"), s.text("category"), s.text("client_id"),
                                                    s.text("client_app"), s.text("client_agent"));
               }),
      function("Groups", SearchFunction::kGroups, kGroups, kUpToDescription,
               [](const S& s, annal_row_callback callback, void* context) {
                 return annal_event_query_group_ex(callback, s.sort, s.start, s.end, s.type, s.text("date_from"),
                                                   s.text("date_to"), s.text("user"), s.text("ip"), s.text("comp"),
                                                   s.text("desc"), s.group, context, s.text("time_from"),
                                                   s.text("time_to"));
               }),
  };
  // Only the listings with these filters sort by application and category.
  functions[1].orders = 26;
  functions[2].orders = 26;
  for (const std::size_t older : {1U, 4U}) {
    functions[older].empty_places = 3;
  }
  return functions;
}

INSTANTIATE_TEST_SUITE_P(OfEvents, EverySearch, testing::ValuesIn(functions()), name_of_search);
INSTANTIATE_TEST_SUITE_P(OfEvents, EveryListingSearch, testing::ValuesIn(listing(functions())), name_of_search);

class EventSearch : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
    sqlite.reset();
  }
  void TearDown() override {
    annal_event_enable_name_matching(0);
    annal_conn_enable_name_matching(0);
    ApplianceTest::TearDown();
  }

  static int count_by_user(const char* user) {
    return annal_event_query_count_ex(/* type= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr, user,
                                      /* ip= */ nullptr, /* comp= */ nullptr, /* desc= */ nullptr,
                                      /* time_from= */ nullptr, /* time_to= */ nullptr);
  }
  static int count_by_description(const char* desc) {
    return annal_event_query_count_ex(/* type= */ 0, /* date_from= */ nullptr, /* date_to= */ nullptr,
                                      /* user= */ nullptr, /* ip= */ nullptr, /* comp= */ nullptr, desc,
                                      /* time_from= */ nullptr, /* time_to= */ nullptr);
  }
};

// ---- texts ----

TEST_F(EventSearch, FindsTextsInEitherCaseAndByWildcards) {
  sql(kLog,
      "INSERT INTO ANNAL_EVENT (event_desc) VALUES ('Fan failed.'), ('fan back'), ('50% full'), ('a_b'), (''), "
      "(NULL), ('Müll');");
  EXPECT_EQ(count_by_description("FAN"), 2);
  EXPECT_EQ(count_by_description("f%d"), 1);
  EXPECT_EQ(count_by_description("f_n"), 2);
  EXPECT_EQ(count_by_description("%"), 6);
  EXPECT_EQ(count_by_description(""), 6);
  EXPECT_EQ(count_by_description("_"), 5);
  EXPECT_EQ(count_by_description("ü"), 1);
  EXPECT_EQ(count_by_description("Ü"), 0);
  EXPECT_EQ(count_by_description(nullptr), 7);
}

TEST_F(EventSearch, MatchesUsersExactlyIfTheFlagIsSet) {
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_user) VALUES ('adm'), ('ADM'), ('admin'), (''), ('ops''team');");
  EXPECT_EQ(count_by_user("adm"), 3);
  annal_event_enable_name_matching(1);
  EXPECT_EQ(count_by_user("adm"), 1);
  EXPECT_EQ(count_by_user(""), 1);
  EXPECT_EQ(count_by_user("ops'team"), 1);
  EXPECT_EQ(count_by_user("a%"), 0);
  annal_event_enable_name_matching(0);
  EXPECT_EQ(count_by_user("adm"), 3);
  for (const int on : {1, 2, -1}) {
    is_event_name_matching = on;
    EXPECT_EQ(count_by_user("adm"), 1);
  }
  is_event_name_matching = 0;
  EXPECT_EQ(count_by_user("adm"), 3);
}

TEST_F(EventSearch, IgnoresTheConnectionsUserFlag) {
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_user) VALUES ('admin');");
  annal_conn_enable_name_matching(1);
  EXPECT_EQ(count_by_user("adm"), 1);
}

// ---- what cannot be combined ----

struct Combination {
  const char* name;
  Search search;
  bool refused;
};

void PrintTo(const Combination& combination, std::ostream* out) {
  *out << combination.name;
}

class EventCombination : public EventSearch, public testing::WithParamInterface<Combination> {};

INSTANTIATE_TEST_SUITE_P(
    Of, EventCombination,
    testing::Values(
        Combination{"CategoryIdAndCategory", {.texts = {{"category_id", "C"}, {"category", "C"}}}, true},
        Combination{"CategoryIdAlone", {.texts = {{"category_id", "C"}}}, false},
        Combination{"CategoryAlone", {.texts = {{"category", "C"}}}, false},
        Combination{
            "CategoryIdAndCategoryOfAType", {.texts = {{"category_id", "C"}, {"category", "C"}}, .type = 1}, false},
        Combination{"CategoryIdAndCategoryOfAnApplication",
                    {.texts = {{"app_name", "A"}, {"category_id", "C"}, {"category", "C"}}},
                    false},
        Combination{"ClientAndApplicationId", {.texts = {{"client_id", "c"}, {"app_id", "A"}}}, true},
        Combination{"ClientAndApplicationName", {.texts = {{"client_app", "c"}, {"app_name", "A"}}}, true},
        Combination{"ClientAndCategoryId", {.texts = {{"client_agent", "c"}, {"category_id", "C"}}}, true},
        Combination{"ClientAndCategory", {.texts = {{"client_id", "c"}, {"category", "C"}}}, true},
        Combination{"ClientAndApplicationOfAType", {.texts = {{"client_id", "c"}, {"app_id", "A"}}, .type = 1}, false},
        Combination{
            "ClientAndApplicationOfAUser", {.texts = {{"user", "ann"}, {"client_id", "c"}, {"app_id", "A"}}}, false},
        Combination{"ClientAlone", {.texts = {{"client_id", "c"}, {"client_app", "c"}, {"client_agent", "c"}}}, false}),
    [](const auto& tested) { return tested.param.name; });

TEST_P(EventCombination, IsRefusedOrWorksAsCallersKnowIt) {
  sql(kLog,
      "INSERT INTO ANNAL_EVENT (event_type, event_user, event_app_id, event_app_name, event_category_id, "
      "event_category, event_client_id, event_client_app, event_client_agent) VALUES "
      "(0, 'ann', 'A', 'A', 'C', 'C', 'c', 'c', 'c');");
  for (const SearchFunction& function : functions()) {
    if (function.knows("client_id")) {
      SCOPED_TRACE(function.name);
      Listing listing;
      const int result = function.call(GetParam().search, &collect, &listing);
      if (GetParam().refused) {
        EXPECT_EQ(result, ANNAL_QUERY_FAILED);
      } else if (function.kind == SearchFunction::kCount) {
        EXPECT_EQ(result, 1);
      } else {
        EXPECT_EQ(result, ANNAL_OK);
        EXPECT_EQ(listing.rows.size(), 1U);
      }
    }
  }
}

// ---- order ----

TEST_F(EventSearch, SortsByApplicationAndCategoryOnlyInListingsThatFilterByThem) {
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_id, event_app_id) VALUES (1, 'b'), (2, 'c'), (3, 'a');");
  const char* const expected[] = {"123", "213", "213", "", "", "", "123"};
  const std::vector<SearchFunction> all = functions();
  for (std::size_t i = 0; i < all.size(); ++i) {
    SCOPED_TRACE(all[i].name);
    Listing listing;
    EXPECT_GE(all[i].call({.sort = 19}, &collect, &listing), 0);
    std::string ids;
    for (const Row& row : listing.rows) {
      ids += row.at(0);
    }
    EXPECT_EQ(ids, expected[i]);
  }
}

// ---- columns ----

TEST_F(EventSearch, ListsAMigratedTablesColumnsInTheUsualOrder) {
  sql(kLog,
      "DROP TABLE ANNAL_EVENT; CREATE TABLE ANNAL_EVENT (event_client_agent, event_client_app, event_client_id, "
      "event_category, event_category_id, event_app_name, event_app_id, event_timet, event_msgid, event_desc, "
      "event_comp, event_ip, event_user, event_time, event_date, event_type, event_id);"
      "INSERT INTO ANNAL_EVENT (event_id, event_client_agent) VALUES (1, 'agent');");
  for (const SearchFunction& function : listing(functions())) {
    SCOPED_TRACE(function.name);
    Listing listing;
    EXPECT_EQ(function.call({}, &collect, &listing), ANNAL_OK);
    EXPECT_EQ(listing.names.at(0), "event_id");
    EXPECT_EQ(listing.rows.at(0).at(16), "agent");
  }
}

}  // namespace
}  // namespace annal::test
