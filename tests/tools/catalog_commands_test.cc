// annalctl catalog.
#include <cstring>
#include <nlohmann/json.hpp>

#include "Corix_annal.h"
#include "tests/tools/annalctl.h"

namespace {

using Json = nlohmann::json;

std::vector<Json> rows_of(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), {"--json", "catalog"});
  const Finished finished = annalctl(arguments);
  EXPECT_EQ(finished.status, 0) << finished.err;
  std::vector<Json> rows;
  for (const std::string& line : lines_of(finished.out)) {
    rows.push_back(Json::parse(line));
  }
  return rows;
}

void expect_refused(const std::vector<std::string>& arguments, const std::string& why) {
  const Finished refused = annalctl(arguments);
  EXPECT_EQ(refused.status, 2) << why;
  EXPECT_EQ(refused.out, "");
  EXPECT_NE(refused.err.find(why), std::string::npos) << refused.err;
}

Json as_json(const CatalogEntry& entry) {
  return {{"app_id", entry.app_id},
          {"level", entry.level},
          {"category_id", entry.category_id},
          {"msg_no", entry.msg_no},
          {"msg_template", entry.msg_template}};
}

}  // namespace

// --- list ---

TEST_F(AnnalctlTest, CatalogListShowsTheApplications) {
  const std::vector<std::string> table = lines_of(annalctl({"catalog", "list"}).out);
  ASSERT_EQ(table.size(), 50U);
  EXPECT_EQ(table[0], "Application  Name                      Messages  Phrases");
  EXPECT_EQ(table[2], "A002         Storage                       1225       64");

  const std::vector<Json> rows = rows_of({"list"});
  ASSERT_EQ(rows.size(), 49U);
  std::size_t total = 0;
  for (const Json& row : rows) {
    EXPECT_NE(row["name"], "") << row;
    total += row["messages"].get<std::size_t>() + row["phrases"].get<std::size_t>();
  }
  EXPECT_EQ(total, 3153U);
}

TEST_F(AnnalctlTest, CatalogListNamesAnApplicationWhoseMessagesBeginWithAUnit) {
  for (const Json& row : rows_of({"list"})) {
    if (row["app_id"] == "A049") {
      EXPECT_EQ(row["name"], "Hardware Status");
    }
  }
}

TEST_F(AnnalctlTest, CatalogListShowsTheRowsOfAnApplicationInTheirOrder) {
  for (const char* id : {"A011", "a011"}) {
    const std::vector<Json> rows = rows_of({"list", id});
    ASSERT_EQ(rows.size(), std::size(A011_list) - 2);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      EXPECT_EQ(rows[i], as_json(A011_list[i + 1]));
    }
  }
}

TEST_F(AnnalctlTest, CatalogRefusesAnUnknownApplication) {
  for (const char* id : {"A006", "A0111", "A01", "11", ""}) {
    expect_refused({"catalog", "list", id}, "the catalog has no application '" + std::string(id) + "'");
  }
}

// --- show ---

TEST_F(AnnalctlTest, CatalogShowShowsARowInEveryForm) {
  EXPECT_EQ(annalctl({"catalog", "show", "A011", "7"}).out,
            "Application  A011 External Device\n"
            "Number       7\n"
            "Level        warning\n"
            "Category     C002\n"
            "Template     [External Device] Detected UPS power loss. Shutting down NAS in {0} second(s).\n");
  EXPECT_EQ(rows_of({"show", "A002", "%V004%"}), std::vector<Json>({{{"app_id", "A002"},
                                                                     {"level", 0},
                                                                     {"category_id", "[reserved]"},
                                                                     {"msg_no", "%V004%"},
                                                                     {"msg_template", "Thick"}}}));
  EXPECT_EQ(annalctl({"catalog", "show", "A011", "1", "--csv"}).out,
            "app_id,level,category_id,msg_no,msg_template\r\n"
            "A011,4,C001,1,[External Device] Added printer {0}.\r\n");
}

TEST_F(AnnalctlTest, CatalogShowSearchesByNumberAndNeverIndexes) {
  EXPECT_EQ(rows_of({"show", "A049", "16"})[0]["msg_template"], "[{0}] System fan {1} failed.");
  expect_refused({"catalog", "show", "A010", "4"}, "A010 has no message '4'");
  expect_refused({"catalog", "show", "A002", "840"}, "A002 has no message '840'");
  for (const char* number : {"0", "01", "", "-1", "%V1%"}) {
    EXPECT_EQ(annalctl({"catalog", "show", "A002", "--", number}).status, 2) << number;
  }
}

// --- search ---

TEST_F(AnnalctlTest, CatalogSearchFindsRowsThatHaveEveryWord) {
  const std::vector<Json> found = rows_of({"search", "LOSS", "ups power"});
  EXPECT_NE(std::find(found.begin(), found.end(), as_json(A011_list[7])), found.end());
  for (const Json& row : found) {
    const auto text = row["msg_template"].get<std::string>();
    EXPECT_NE(strcasestr(text.c_str(), "loss"), nullptr) << text;
    EXPECT_NE(strcasestr(text.c_str(), "ups power"), nullptr) << text;
  }
  EXPECT_TRUE(rows_of({"search", "loss", "no template says this"}).empty());
}

TEST_F(AnnalctlTest, CatalogSearchTakesApplicationNumberAndLevel) {
  EXPECT_EQ(rows_of({"search", "--app", "A011"}).size(), std::size(A011_list) - 2);
  EXPECT_EQ(rows_of({"search", "--level", "phrase"}).size(), 159U);
  const std::vector<Json> numbered = rows_of({"search", "--number", "16"});
  EXPECT_GT(numbered.size(), 1U);
  for (const Json& row : numbered) {
    EXPECT_EQ(row["msg_no"], "16");
  }
  for (const Json& row : rows_of({"search", "--app", "a049", "--level", "error"})) {
    EXPECT_EQ(row["app_id"], "A049");
    EXPECT_EQ(row["level"], 1);
  }
  EXPECT_EQ(rows_of({"search", "--app", "A049", "--number", "16", "--level", "error", "fan"}).size(), 1U);
}

TEST_F(AnnalctlTest, CatalogSearchRefusesAnEmptyQuery) {
  expect_refused({"catalog", "search"}, "what to search for is missing");
  expect_refused({"catalog", "search", "--app", "A006"}, "the catalog has no application 'A006'");
  expect_refused({"catalog", "search", "--level", "alert"}, "alert");
}

// --- fill ---

TEST_F(AnnalctlTest, CatalogFillPutsValuesIntoTheirPlaces) {
  EXPECT_EQ(annalctl({"catalog", "fill", "A011", "7", "60"}).out,
            "[External Device] Detected UPS power loss. Shutting down NAS in 60 second(s).\n");
  EXPECT_EQ(annalctl({"catalog", "fill", "A011", "3"}).out, "[External Device] Changed UPS model to SNMP mode.\n");
  EXPECT_EQ(annalctl({"catalog", "fill", "A002", "%V002%"}).out, "Storage pool\n");
  EXPECT_EQ(rows_of({"fill", "A049", "16", "Main unit", "2"}),
            std::vector<Json>({{{"app_id", "A049"},
                                {"level", 1},
                                {"category_id", "C004"},
                                {"msg_no", "16"},
                                {"text", "[Main unit] System fan 2 failed."}}}));
}

TEST_F(AnnalctlTest, CatalogFillTakesValuesAsTheyAre) {
  EXPECT_EQ(annalctl({"catalog", "fill", "A049", "16", "{1}", "{0} {x} 100%"}).out,
            "[{1}] System fan {0} {x} 100% failed.\n");
  EXPECT_EQ(annalctl({"catalog", "fill", "A011", "1", ""}).out, "[External Device] Added printer .\n");
  EXPECT_EQ(annalctl({"catalog", "fill", "A011", "1", "--", "--json"}).out,
            "[External Device] Added printer --json.\n");
  EXPECT_EQ(annalctl({"catalog", "fill", "A011", "1", "a\033[31mb"}).out,
            "[External Device] Added printer a\\x1b[31mb.\n");
}

TEST_F(AnnalctlTest, CatalogFillReplacesTokensByPhrases) {
  for (const CatalogEntry& entry : A002_list) {
    if (entry.app_id != nullptr && std::strstr(entry.msg_template, "{0}") != nullptr &&
        std::strstr(entry.msg_template, "{1}") == nullptr) {
      const Finished finished = annalctl({"catalog", "fill", "A002", entry.msg_no, "<%V002%-%V004%-%V000%>"});
      EXPECT_NE(finished.out.find("<Storage pool-Thick-%V000%>"), std::string::npos) << finished.out;
      return;
    }
  }
  FAIL() << "no message of the storage takes one value";
}

TEST_F(AnnalctlTest, CatalogFillRefusesTooFewOrTooManyValues) {
  expect_refused({"catalog", "fill", "A011", "7"}, "message 7 of A011 takes 1 value, not 0");
  expect_refused({"catalog", "fill", "A049", "16", "a"}, "message 16 of A049 takes 2 values, not 1");
  expect_refused({"catalog", "fill", "A011", "3", "a"}, "message 3 of A011 takes 0 values, not 1");
  expect_refused({"catalog", "fill", "A010", "4"}, "A010 has no message '4'");
}
