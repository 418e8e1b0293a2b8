// Migrates an older table to a list of columns.
#include <array>
#include <fstream>
#include <string>

#include "Corix_annal.h"
#include "tests/support/appliance.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kFile = "/etc/logs/paper.log";

// The current layout of a table whose first release had two columns.
constexpr std::array<AnnalColumn, 5> kPaper = {{
    {"id", nullptr},
    {"title", nullptr},
    {"pages", "ALTER TABLE paper ADD COLUMN pages INTEGER DEFAULT 1;"},
    {"author", "ALTER TABLE paper ADD COLUMN author TEXT DEFAULT 'nobody';"},
    {"year", "ALTER TABLE paper ADD COLUMN year INTEGER;"},
}};

class Migration : public ApplianceTest {
 protected:
  static void make_table(const std::string& columns) { sql(kFile, "CREATE TABLE paper (" + columns + ");"); }

  template <std::size_t count>
  static int migrate(const std::array<AnnalColumn, count>& list) {
    return annal_common_migrate_db(kFile, "paper", list.data(), count);
  }

  static std::string columns() { return value(kFile, "SELECT group_concat(name) FROM pragma_table_info('paper');"); }
};

const Calls& reading_calls() {
  static const Calls calls = {"open /etc/logs/paper.log", "busy_timeout 20000", "prepare PRAGMA TABLE_INFO(paper);",
                              "finalize", "close"};
  return calls;
}

TEST_F(Migration, OnlyReadsACurrentTable) {
  make_table("id, title, pages, author, year");
  const std::string before = value(kFile, "SELECT sql FROM sqlite_master;");
  EXPECT_EQ(migrate(kPaper), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), reading_calls());
  EXPECT_EQ(value(kFile, "SELECT sql FROM sqlite_master;"), before);
}

TEST_F(Migration, AddsTheLastColumn) {
  make_table("id, title, pages, author");
  EXPECT_EQ(migrate(kPaper), ANNAL_OK);
  EXPECT_EQ(columns(), "id,title,pages,author,year");
  EXPECT_EQ(sqlite.statements().back(), "BEGIN TRANSACTION;ALTER TABLE paper ADD COLUMN year INTEGER;COMMIT;");
}

TEST_F(Migration, AddsAllMissingColumnsInOneStatement) {
  make_table("id, title");
  EXPECT_EQ(migrate(kPaper), ANNAL_OK);
  EXPECT_EQ(columns(), "id,title,pages,author,year");
  EXPECT_EQ(sqlite.calls(),
            Calls({"open /etc/logs/paper.log", "busy_timeout 20000", "prepare PRAGMA TABLE_INFO(paper);",
                   "exec BEGIN TRANSACTION;"
                   "ALTER TABLE paper ADD COLUMN pages INTEGER DEFAULT 1;"
                   "ALTER TABLE paper ADD COLUMN author TEXT DEFAULT 'nobody';"
                   "ALTER TABLE paper ADD COLUMN year INTEGER;"
                   "COMMIT;",
                   "finalize", "close"}));
}

TEST_F(Migration, KeepsTheRowsAndAddsTheDefaults) {
  make_table("id, title");
  sql(kFile, "INSERT INTO paper VALUES (7, 'old');");
  EXPECT_EQ(migrate(kPaper), ANNAL_OK);
  EXPECT_EQ(sql(kFile, "SELECT * FROM paper;"), Rows({{"7", "old", "1", "nobody", "NULL"}}));
}

TEST_F(Migration, DoesNothingTheSecondTime) {
  make_table("id, title");
  ASSERT_EQ(migrate(kPaper), ANNAL_OK);
  sqlite.reset();
  EXPECT_EQ(migrate(kPaper), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), reading_calls());
}

TEST_F(Migration, RefusesTablesThatAreNotAnOlderForm) {
  for (const char* others :
       {"id, title, pages, author, year, extra", "id, title, sheets", "id, title, sheets, author, year",
        "id, title, author, pages", "title, id", "id, title, Pages", "ID, title", "id, title, page",
        "id, title, pagess", "id, title, pages, author, extra"}) {
    SCOPED_TRACE(others);
    sql(kFile, "DROP TABLE IF EXISTS paper;");
    make_table(others);
    const std::string before = value(kFile, "SELECT sql FROM sqlite_master;");
    sqlite.reset();
    EXPECT_EQ(migrate(kPaper), ANNAL_CHANGE_FAILED);
    EXPECT_EQ(value(kFile, "SELECT sql FROM sqlite_master;"), before);
    EXPECT_EQ(sqlite.calls(), reading_calls());
  }
}

TEST_F(Migration, RefusesATableThatLacksAColumnOfTheFirstRelease) {
  make_table("id");
  EXPECT_EQ(migrate(kPaper), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(columns(), "id");
  EXPECT_EQ(sqlite.calls(), reading_calls());
}

TEST_F(Migration, RefusesAMissingTable) {
  EXPECT_EQ(migrate(kPaper), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(sqlite.calls(), reading_calls());
}

TEST_F(Migration, AddsNothingIfAMissingColumnHasNoStatement) {
  make_table("id, title");
  for (const std::size_t without : {2U, 3U, 4U}) {
    SCOPED_TRACE(without);
    auto list = kPaper;
    list.at(without).add_sql = nullptr;
    sqlite.reset();
    EXPECT_EQ(migrate(list), ANNAL_CHANGE_FAILED);
    EXPECT_EQ(columns(), "id,title");
    EXPECT_EQ(sqlite.calls(), reading_calls());
  }
}

TEST_F(Migration, MatchesNoColumnToANullName) {
  make_table("id, title, pages");
  for (const std::size_t without : {0U, 1U, 2U}) {
    SCOPED_TRACE(without);
    auto list = kPaper;
    list.at(without).name = nullptr;
    sqlite.reset();
    EXPECT_EQ(migrate(list), ANNAL_CHANGE_FAILED);
    EXPECT_EQ(columns(), "id,title,pages");
    EXPECT_EQ(sqlite.calls(), reading_calls());
  }
}

TEST_F(Migration, RunsNothingForEmptyStatements) {
  make_table("id, title");
  auto list = kPaper;
  list[2].add_sql = "";
  list[3].add_sql = "";
  list[4].add_sql = "";
  EXPECT_EQ(migrate(list), ANNAL_OK);
  EXPECT_EQ(columns(), "id,title");
  EXPECT_EQ(sqlite.calls(), reading_calls());
}

TEST_F(Migration, SkipsOnlyAnEmptyStatement) {
  make_table("id, title");
  auto list = kPaper;
  list[2].add_sql = "";
  list[4].add_sql = "";
  EXPECT_EQ(migrate(list), ANNAL_OK);
  EXPECT_EQ(sqlite.statements().back(),
            "BEGIN TRANSACTION;ALTER TABLE paper ADD COLUMN author TEXT DEFAULT 'nobody';COMMIT;");
}

TEST_F(Migration, RunsAStatementOfAnyLength) {
  make_table("id, title, pages, author");
  const std::string long_default(100000, 'x');
  const std::string add = "ALTER TABLE paper ADD COLUMN year TEXT DEFAULT '" + long_default + "';";
  auto list = kPaper;
  list[4].add_sql = add.c_str();
  EXPECT_EQ(migrate(list), ANNAL_OK);
  EXPECT_EQ(sqlite.statements().back(), "BEGIN TRANSACTION;" + add + "COMMIT;");
}

TEST_F(Migration, AddsNothingIfAStatementFails) {
  make_table("id, title");
  for (const std::size_t broken : {2U, 3U, 4U}) {
    SCOPED_TRACE(broken);
    auto list = kPaper;
    list.at(broken).add_sql = "ALTER TABLE paper ADD COLUMN title TEXT;";
    EXPECT_EQ(migrate(list), ANNAL_CHANGE_FAILED);
    EXPECT_EQ(columns(), "id,title");
  }
}

TEST_F(Migration, ReportsAFailedStatement) {
  make_table("id, title");
  sqlite.fail("exec");
  EXPECT_EQ(migrate(kPaper), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(columns(), "id,title");
}

TEST_F(Migration, ReadsOnlyTheGivenNumberOfColumns) {
  make_table("id, title, pages");
  EXPECT_EQ(annal_common_migrate_db(kFile, "paper", kPaper.data(), 4), ANNAL_OK);
  EXPECT_EQ(columns(), "id,title,pages,author");
  EXPECT_EQ(annal_common_migrate_db(kFile, "paper", kPaper.data(), 3), ANNAL_CHANGE_FAILED);
}

TEST_F(Migration, AcceptsAnEmptyListForATableWithoutColumns) {
  EXPECT_EQ(annal_common_migrate_db(kFile, "paper", nullptr, 0), ANNAL_OK);
  EXPECT_EQ(annal_common_migrate_db(kFile, "paper", kPaper.data(), 0), ANNAL_OK);
  make_table("id");
  EXPECT_EQ(annal_common_migrate_db(kFile, "paper", nullptr, 0), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(annal_common_migrate_db(kFile, "paper", kPaper.data(), 0), ANNAL_CHANGE_FAILED);
}

TEST_F(Migration, RefusesNullPointersBeforeOpeningTheFile) {
  EXPECT_EQ(annal_common_migrate_db(nullptr, "paper", kPaper.data(), kPaper.size()), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(annal_common_migrate_db(kFile, nullptr, kPaper.data(), kPaper.size()), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(annal_common_migrate_db(kFile, "paper", nullptr, 1), ANNAL_BAD_ARGUMENT);
  EXPECT_TRUE(sqlite.calls().empty());
  EXPECT_FALSE(exists(kFile));
}

TEST_F(Migration, FailsWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(migrate(kPaper), ANNAL_OPEN_FAILED);
}

TEST_F(Migration, ClosesTheHandleOfAFailedOpen) {
  make_table("id, title");
  sqlite.fail("open");
  EXPECT_EQ(migrate(kPaper), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/paper.log", "close"}));
  EXPECT_EQ(columns(), "id,title");
}

TEST_F(Migration, ReturnsOpenFailedIfTheColumnsCannotBeQueried) {
  make_table("id, title");
  sqlite.fail("prepare");
  EXPECT_EQ(migrate(kPaper), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(),
            Calls({"open /etc/logs/paper.log", "busy_timeout 20000", "prepare PRAGMA TABLE_INFO(paper);", "close"}));
}

TEST_F(Migration, ReturnsOpenFailedForANonDatabaseFile) {
  std::ofstream(kFile) << std::string(4096, 'x');
  EXPECT_EQ(migrate(kPaper), ANNAL_OPEN_FAILED);
}

TEST_F(Migration, AddsNothingIfNotAllColumnsCouldBeRead) {
  make_table("id, title, pages, author, year");
  for (const int nth : {1, 3, 6}) {
    SCOPED_TRACE(nth);
    sqlite.reset();
    sqlite.fail("step", nth);
    EXPECT_EQ(migrate(kPaper), ANNAL_CHANGE_FAILED);
    EXPECT_EQ(sqlite.calls(), reading_calls());
  }
}

TEST_F(Migration, AcceptsTableNamesThatFitItsBuffer) {
  const std::string name(107, 't');
  sql(kFile, "CREATE TABLE " + name + " (id, title, pages, author, year);");
  EXPECT_EQ(annal_common_migrate_db(kFile, name.c_str(), kPaper.data(), kPaper.size()), ANNAL_OK);
  EXPECT_EQ(sqlite.statements(), Calls({"PRAGMA TABLE_INFO(" + name + ");"}));
}

TEST_F(Migration, ReturnsOpenFailedForAnOverlongTableName) {
  for (const std::size_t length : {109U, 127U, 128U, 1000U}) {
    SCOPED_TRACE(length);
    const std::string name(length, 't');
    sqlite.reset();
    EXPECT_EQ(annal_common_migrate_db(kFile, name.c_str(), kPaper.data(), kPaper.size()), ANNAL_OPEN_FAILED);
    EXPECT_EQ(sqlite.statements(), Calls({("PRAGMA TABLE_INFO(" + name).substr(0, 127)}));
  }
}

TEST_F(Migration, WaitsForALock) {
  make_table("id, title");
  const LockHolder lock(kFile, 250ms);
  EXPECT_EQ(migrate(kPaper), ANNAL_OK);
  EXPECT_EQ(columns(), "id,title,pages,author,year");
}

}  // namespace
}  // namespace annal::test
