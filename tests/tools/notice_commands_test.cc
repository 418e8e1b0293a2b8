// annalctl notice: create, delete, age, flush and migrate; and annalctl facilities.
#include <ctime>
#include <nlohmann/json.hpp>

#include "tests/tools/annalctl.h"
#include "tests/tools/damage.h"

namespace {

using Json = nlohmann::json;
using annal::test::sql;
using annal::test::value;

constexpr const char* kPath = "/etc/logs/notice.log";

void put(const std::string& columns, const std::string& values) {
  sql(kPath, "INSERT INTO ANNAL_NOTICE (" + columns + ") VALUES (" + values + ");");
}

std::string quoted(const std::string& text) {
  std::string literal = "'";
  for (const char c : text) {
    literal.append(c == '\'' ? 2 : 1, c);
  }
  return literal + "'";
}

// The remaining ids, such as "1,3".
std::string ids() {
  return value(kPath, "SELECT coalesce(group_concat(id), '') FROM (SELECT id FROM ANNAL_NOTICE ORDER BY id);");
}

void delete_by(const std::string& option, const std::string& wanted) {
  const Finished deleted = annalctl({"notice", "delete", option, wanted});
  EXPECT_EQ(deleted.status, 0) << option << " " << wanted << ": " << deleted.err;
  EXPECT_EQ(deleted.err, "") << option;
  EXPECT_EQ(deleted.out.substr(0, 8), "deleted ") << option;
}

// A log of an earlier release with one notice.
void make_log_with(const std::string& columns) {
  static_cast<void>(std::remove(kPath));
  sql(kPath, "CREATE TABLE ANNAL_NOTICE (" + columns + ");");
  sql(kPath, "INSERT INTO ANNAL_NOTICE (severity) VALUES (3);");
}

constexpr const char* kAllButTitle =
    "id INTEGER PRIMARY KEY, severity INTEGER, server INTEGER, action INTEGER, serviceName TEXT, facility INTEGER, "
    "time INTEGER, endtime INTEGER, user TEXT, ip TEXT, client TEXT, desc TEXT, msgCode TEXT, varNum INTEGER, "
    "varContent TEXT, name TEXT, status INTEGER, uid INTEGER, gid INTEGER, link_id TEXT, link_option TEXT";

constexpr const char* kFewColumns = "id INTEGER PRIMARY KEY, severity INTEGER, server INTEGER, action INTEGER";

bool has_title() {
  return value(kPath, "SELECT COUNT(*) FROM pragma_table_info('ANNAL_NOTICE') WHERE name = 'title';") == "1";
}

class AnnalctlNoticeTest : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    const Finished created = annalctl({"notice", "create"});
    ASSERT_EQ(created.status, 0) << created.err;
    ASSERT_EQ(created.out + created.err, "");
  }
};

}  // namespace

// --- create ---

TEST_F(AnnalctlTest, NoticeCreateAppliesTheLimit) {
  ASSERT_EQ(annalctl({"notice", "create", "--limit", "3", "--batch", "2"}).status, 0);
  for (const char* time : {"10", "20", "30", "40"}) {
    put("time", time);
  }
  EXPECT_EQ(ids(), "3,4");
}

// --- delete ---

TEST_F(AnnalctlNoticeTest, DeleteRemovesTheNoticesOfEachColumnsValueAndNoOthers) {
  struct Case {
    const char* option;
    const char* column;
    const char* wanted;
    const char* other;
  };
  const std::vector<Case> cases{
      {"--severity", "severity", "3", "4"},
      {"--server", "server", "-1", "1"},
      {"--action", "action", "7", "70"},
      {"--service", "serviceName", "it's", "its"},
      {"--facility", "facility", "1000", "1"},
      {"--time", "time", "1795255200", "1795255201"},
      {"--endtime", "endtime", "0", "1"},
      {"--user", "user", "x' OR '1'='1", "x"},
      {"--ip", "ip", "fe80::1", "fe80::2"},
      {"--description", "desc", "a \"b\" %s; --", "a"},
      {"--msgcode", "msgCode", "{}", "[]"},
      {"--varnum", "varNum", "2147483647", "-2147483648"},
      {"--varcontent", "varContent", "[a,b]", "a"},
      {"--name", "name", "-x", "x"},
      {"--status", "status", "1", "2"},
      {"--uid", "uid", "1000", "100"},
      {"--gid", "gid", "100", "1000"},
      {"--link-id", "link_id", "severity", "3"},
      {"--link-option", "link_option", "1 OR 1", "1"},
      {"--title", "title", "title", "Title"},
  };
  for (const Case& one : cases) {
    sql(kPath, "DELETE FROM ANNAL_NOTICE;");
    put(one.column, quoted(one.other));
    put(one.column, quoted(one.wanted));
    delete_by(one.option, one.wanted);
    EXPECT_EQ(value(kPath, "SELECT group_concat(" + std::string(one.column) + ") FROM ANNAL_NOTICE;"), one.other)
        << one.option;
  }
}

TEST_F(AnnalctlNoticeTest, DeleteByIdLeavesTheOtherNotices) {
  for (int i = 0; i < 3; ++i) {
    put("severity", "3");
  }
  delete_by("--id", "2");
  delete_by("--id", "77");
  EXPECT_EQ(ids(), "1,3");
}

TEST_F(AnnalctlNoticeTest, DeleteFindsAnyTextOfLinksAndTitles) {
  const std::vector<std::string> texts{
      "",
      "abc",
      "'abc'",
      "it's",
      "'",
      "''",
      "\"title\"",
      "x' OR '1'='1",
      "1; DROP TABLE ANNAL_NOTICE; --",
      "char(97)",
      "42",
      "%d%s%q",
      "Ärger\t\n",
      "日本語",
      "\U0001F4BE",
      std::string(99, 'x'),
      std::string(100, 'x'),
      std::string(101, 'x'),
      std::string(2000, '\''),
  };
  struct Target {
    const char* option;
    const char* column;
  };
  for (const Target& target :
       {Target{"--link-id", "link_id"}, {"--link-option", "link_option"}, {"--title", "title"}}) {
    sql(kPath, "DELETE FROM ANNAL_NOTICE;");
    for (const std::string& text : texts) {
      put(target.column, quoted(text));
    }
    put(target.column, "NULL");
    for (const std::string& text : texts) {
      const std::string matching =
          "SELECT COUNT(*) FROM ANNAL_NOTICE WHERE " + std::string(target.column) + " = " + quoted(text) + ";";
      const std::string all = "SELECT COUNT(*) FROM ANNAL_NOTICE;";
      const int before = std::stoi(value(kPath, all));
      ASSERT_EQ(value(kPath, matching), "1") << text;
      delete_by(target.option, text);
      EXPECT_EQ(value(kPath, matching), "0") << target.option << " " << text;
      EXPECT_EQ(std::stoi(value(kPath, all)), before - 1) << target.option << " " << text;
    }
  }
}

TEST_F(AnnalctlNoticeTest, DeleteRefusesATitleThatIsNotUtf8) {
  put("title", "'x'");
  const Finished refused = annalctl({"notice", "delete", "--title", "x\xff"});
  EXPECT_EQ(refused.status, 2);
  EXPECT_NE(refused.err.find("--title: the text is not valid UTF-8"), std::string::npos) << refused.err;
  EXPECT_EQ(ids(), "1");
}

TEST_F(AnnalctlNoticeTest, DeleteTakesFacilitiesByNumberAndByNameInAnyCase) {
  for (const char* facility : {"10", "99", "10", "17"}) {
    put("facility", facility);
  }
  delete_by("--facility", "usb DRIVE");
  EXPECT_EQ(ids(), "2,4");
  delete_by("--facility", "Background Task");
  EXPECT_EQ(ids(), "4");
  delete_by("--facility", "17");
  EXPECT_EQ(ids(), "");
}

TEST_F(AnnalctlNoticeTest, DeleteRefusesAnUnknownFacility) {
  put("facility", "0");
  for (const char* name : {"", "USB", "USB Drive "}) {
    const Finished refused = annalctl({"notice", "delete", "--facility", name});
    EXPECT_EQ(refused.status, 2) << name;
    EXPECT_NE(refused.err.find("annalctl facilities"), std::string::npos) << refused.err;
  }
  EXPECT_EQ(ids(), "1");
}

TEST_F(AnnalctlNoticeTest, DeleteTakesTimesAsSecondsAndAsTexts) {
  for (const char* option : {"--time", "--endtime"}) {
    for (const char* text : {"1795255200", "@1795255200", "2026-11-21T10:00:00Z", "2026-11-21 12:00:00+02:00"}) {
      put(option + 2, "1795255200");
      delete_by(option, text);
      EXPECT_EQ(ids(), "") << option << " " << text;
    }
    EXPECT_EQ(annalctl({"notice", "delete", option, "yesterday"}).status, 2) << option;
  }
  EXPECT_EQ(annalctl({"notice", "delete", "--endtime", "4294967296"}).status, 2);
}

// The library cannot.
TEST_F(AnnalctlNoticeTest, DeleteTakesTheClientToTheLetter) {
  put("client", "'web'");
  EXPECT_EQ(annalctl({"notice", "delete", "--client", "we"}).out, "deleted 0 notices\n");
  EXPECT_EQ(ids(), "1");
  delete_by("--client", "web");
  EXPECT_EQ(ids(), "");
}

TEST_F(AnnalctlNoticeTest, DeleteTakesValuesThatAreSome) {
  put("severity", "3");
  EXPECT_EQ(annalctl({"notice", "delete"}).status, 2);
  EXPECT_EQ(annalctl({"notice", "delete", "--severity", "4", "--id", "1"}).out, "deleted 0 notices\n");
  EXPECT_EQ(annalctl({"notice", "delete", "--severity", "three"}).status, 2);
  EXPECT_EQ(annalctl({"notice", "delete", "--severity", "4294967299"}).status, 2);
  EXPECT_EQ(ids(), "1");
}

TEST_F(AnnalctlNoticeTest, DeletingFromALockedLogNamesTheHolderAndDoesNotWait) {
  const annal::test::LockHolder holder(kPath);
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"notice", "delete", "--id", "1"}, {"notice", "age", "1"}}) {
    const Finished finished = annalctl(command);
    EXPECT_EQ(finished.status, 1);
    EXPECT_NE(finished.err.find("/etc/logs/notice.log is locked by process"), std::string::npos) << finished.err;
    EXPECT_EQ(finished.err.find("20 s"), std::string::npos) << finished.err;
  }
}

// --- age and flush ---

TEST_F(AnnalctlNoticeTest, AgeDeletesNoticesOlderThanNDays) {
  constexpr std::time_t kDay = 86400;
  const std::time_t now = std::time(nullptr);
  for (const std::time_t age : {3 * kDay, 2 * kDay + 60, 2 * kDay - 60, std::time_t{0}}) {
    put("time", std::to_string(now - age));
  }
  EXPECT_EQ(annalctl({"notice", "age", "2147483647"}).status, 0);
  EXPECT_EQ(ids(), "1,2,3,4");
  EXPECT_EQ(annalctl({"notice", "age", "2"}).status, 0);
  EXPECT_EQ(ids(), "3,4");
}

TEST_F(AnnalctlNoticeTest, AgeRefusesLessThanADay) {
  put("time", "1");
  for (const char* days : {"0", "-1", "2147483648", "x"}) {
    EXPECT_EQ(annalctl({"notice", "age", days}).status, 2) << days;
  }
  EXPECT_EQ(ids(), "1");
}

TEST_F(AnnalctlNoticeTest, FlushProceedsWithoutATerminal) {
  put("severity", "3");
  EXPECT_EQ(annalctl({"notice", "flush"}).status, 0);
  EXPECT_EQ(ids(), "");
}

TEST_F(AnnalctlNoticeTest, FlushAtATerminalFollowsTheAnswer) {
  put("severity", "3");
  const Finished declined = annalctl_at_terminal({"notice", "flush"}, "n\n");
  EXPECT_EQ(declined.status, 1);
  EXPECT_NE(declined.err.find("Delete all notices of /etc/logs/notice.log? [y/N]"), std::string::npos) << declined.err;
  EXPECT_EQ(ids(), "1");
  EXPECT_EQ(annalctl_at_terminal({"notice", "flush"}, "y\n").status, 0);
  EXPECT_EQ(ids(), "");
  put("severity", "3");
  EXPECT_EQ(annalctl_at_terminal({"notice", "flush", "--yes"}, "").err, "");
  EXPECT_EQ(ids(), "");
}

// --- migrate ---

TEST_F(AnnalctlNoticeTest, MigrateLeavesACurrentLogAlone) {
  put("severity", "3");
  const Finished finished = annalctl({"notice", "migrate"});
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_NE(finished.err.find("has all columns: nothing was changed"), std::string::npos) << finished.err;
  EXPECT_EQ(ids(), "1");
}

TEST_F(AnnalctlTest, MigrateLeavesAnEmptyCurrentLogItsLimit) {
  ASSERT_EQ(annalctl({"notice", "create", "--limit", "2"}).status, 0);
  const Finished finished = annalctl({"notice", "migrate", "--yes"});
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_NE(finished.err.find("nothing was changed"), std::string::npos) << finished.err;
  for (int i = 0; i < 3; ++i) {
    put("severity", "3");
  }
  EXPECT_EQ(ids(), "2,3");
}

TEST_F(AnnalctlNoticeTest, MigrateIsNotMisledByAValueThatLooksLikeAFailure) {
  put("uid, title", "-24, 'kept'");
  EXPECT_EQ(annalctl({"notice", "migrate", "--yes"}).status, 0);
  EXPECT_EQ(ids(), "1");
}

TEST_F(AnnalctlTest, MigrateAddsAMissingTitleAndKeepsTheNotices) {
  make_log_with(kAllButTitle);
  const Finished finished = annalctl({"notice", "migrate"});
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_EQ(finished.err, "");
  EXPECT_TRUE(has_title());
  EXPECT_EQ(ids(), "1");
}

TEST_F(AnnalctlTest, MigrateAddsAMissingTitleToAnEmptyLog) {
  make_log_with(kAllButTitle);
  sql(kPath, "DELETE FROM ANNAL_NOTICE; CREATE TABLE witness (x);");
  EXPECT_EQ(annalctl({"notice", "migrate"}).status, 0);
  EXPECT_TRUE(has_title());
  EXPECT_EQ(value(kPath, "SELECT COUNT(*) FROM witness;"), "0");
}

TEST_F(AnnalctlTest, MigrateDeletesNoNoticesByDefault) {
  make_log_with(kFewColumns);
  const Finished finished = annalctl({"notice", "migrate"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("lacks serviceName, facility, time,"), std::string::npos) << finished.err;
  EXPECT_NE(finished.err.find("(notices: 1)"), std::string::npos) << finished.err;
  EXPECT_NE(finished.err.find("--yes"), std::string::npos) << finished.err;
  EXPECT_EQ(ids(), "1");
  EXPECT_FALSE(has_title());
}

TEST_F(AnnalctlTest, MigrateAtATerminalFollowsTheAnswer) {
  make_log_with(kFewColumns);
  for (const char* answer : {"n\n", "\n", "\x04"}) {
    const Finished declined = annalctl_at_terminal({"notice", "migrate"}, answer);
    EXPECT_EQ(declined.status, 1);
    EXPECT_NE(declined.err.find("[y/N]"), std::string::npos) << declined.err;
    EXPECT_EQ(ids(), "1");
  }
  const Finished agreed = annalctl_at_terminal({"notice", "migrate"}, "y\n");
  EXPECT_EQ(agreed.status, 0) << agreed.err;
  EXPECT_EQ(ids(), "");
  EXPECT_TRUE(has_title());
}

TEST_F(AnnalctlTest, MigrateWithYesRecreatesTheLog) {
  make_log_with(kFewColumns);
  const Finished finished = annalctl({"notice", "migrate", "--yes"});
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_EQ(finished.out + finished.err, "");
  EXPECT_EQ(ids(), "");
  put("severity, title", "3, 'x'");
  EXPECT_EQ(ids(), "1");
}

TEST_F(AnnalctlTest, MigrateDoesNotTakeAMissingTableForMissingColumns) {
  sql(kPath, "CREATE TABLE other (x);");
  const Finished finished = annalctl({"notice", "migrate", "--yes"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_NE(finished.err.find("has no table yet: run 'annalctl notice create'"), std::string::npos) << finished.err;
  EXPECT_EQ(value(kPath, "SELECT COUNT(*) FROM other;"), "0");
}

// The library treats an unreadable column as missing and then deletes the log.
TEST_F(AnnalctlNoticeTest, MigrateDoesNotTakeADamagedPageForMissingColumns) {
  sql(kPath,
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 100) INSERT INTO ANNAL_NOTICE "
      "(severity, desc) SELECT 3, hex(zeroblob(500)) || i FROM n;");
  const std::size_t page = std::stoul(value(kPath, "PRAGMA page_size;"));
  std::string log = damage::contents_of(kPath);
  const std::size_t row = log.find(std::string(1000, '0') + "7");
  ASSERT_NE(row, std::string::npos);
  damage::overwrite(kPath, row / page * page, std::string(8, '\xFF'));
  const std::string before = damage::contents_of(kPath);
  const Finished finished = annalctl({"notice", "migrate", "--yes"});
  EXPECT_NE(finished.err.find("has all columns: nothing was changed"), std::string::npos) << finished.err;
  EXPECT_TRUE(damage::contents_of(kPath) == before);
}

TEST_F(AnnalctlTest, MigrateTakesColumnNamesAsSqliteDoes) {
  std::string columns = kAllButTitle;
  columns.replace(columns.find("severity"), 8, "Severity");
  columns.replace(columns.find("user TEXT"), 4, "USER");
  make_log_with(columns + ", TITLE TEXT");
  const Finished finished = annalctl({"notice", "migrate", "--yes"});
  EXPECT_EQ(finished.status, 0) << finished.err;
  EXPECT_NE(finished.err.find("has all columns: nothing was changed"), std::string::npos) << finished.err;
  EXPECT_EQ(ids(), "1");
}

TEST_F(AnnalctlNoticeTest, MigrateDoesNotTakeALockForMissingColumns) {
  put("severity", "3");
  {
    const annal::test::LockHolder holder(kPath);
    const Finished finished = annalctl({"notice", "migrate", "--yes"});
    EXPECT_EQ(finished.status, 1);
    EXPECT_NE(finished.err.find("still after 20 s"), std::string::npos) << finished.err;
  }
  EXPECT_EQ(ids(), "1");
}

// --- facilities ---

TEST_F(AnnalctlTest, FacilitiesListsNumbersAndNamesInEveryForm) {
  const std::vector<std::string> table = lines_of(annalctl({"facilities"}).out);
  ASSERT_EQ(table.size(), 23U);
  EXPECT_EQ(table[0], "Number  Name");
  EXPECT_EQ(table[11], "    10  USB Drive");
  EXPECT_EQ(table[22], "    99  Background Task");

  const std::vector<std::string> json = lines_of(annalctl({"facilities", "--json"}).out);
  ASSERT_EQ(json.size(), 22U);
  EXPECT_EQ(Json::parse(json[0]), Json({{"number", 0}, {"name", ""}}));
  EXPECT_EQ(Json::parse(json[21]), Json({{"number", 99}, {"name", "Background Task"}}));

  const std::vector<std::string> csv = lines_of(annalctl({"--csv", "facilities"}).out);
  ASSERT_EQ(csv.size(), 23U);
  EXPECT_EQ(csv[0], "number,name\r");
  EXPECT_EQ(csv[2], "1,SMART\r");
}

TEST_F(AnnalctlTest, FacilitiesNeedsNoLog) {
  EXPECT_EQ(annalctl({"facilities"}).status, 0);
  EXPECT_FALSE(annal::test::exists(kPath));
}
