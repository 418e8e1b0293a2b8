// The connection log's table: its layout in the file, its maintenance and its result codes.
#include <climits>
#include <cstdio>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/conn/conn_log.h"

namespace annal::test {
namespace {

// ---- the table as the file holds it ----

constexpr const char* kTable =
    "CREATE TABLE ANNAL_CONN ( conn_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, conn_type INTEGER, conn_date "
    "TEXT DEFAULT (strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME')), conn_time TEXT DEFAULT "
    "(strftime('%H:%M:%S', CURRENT_TIMESTAMP, 'LOCALTIME')), conn_user TEXT, conn_ip TEXT, conn_comp TEXT, "
    "conn_res TEXT, conn_serv INTEGER, conn_action INTEGER, conn_app TEXT, conn_action_result INTEGER, "
    "conn_client_id TEXT DEFAULT '---', conn_client_app TEXT DEFAULT '---', conn_client_agent TEXT DEFAULT "
    "'---' )";

constexpr const char* kIndexes[] = {
    "CREATE INDEX idx_conn_type on ANNAL_CONN(conn_type)",
    "CREATE INDEX idx_conn_date on ANNAL_CONN(conn_date)",
    "CREATE INDEX idx_conn_time on ANNAL_CONN(conn_time)",
    "CREATE INDEX idx_conn_user on ANNAL_CONN(conn_user)",
    "CREATE INDEX idx_conn_ip on ANNAL_CONN(conn_ip)",
    "CREATE INDEX idx_conn_comp on ANNAL_CONN(conn_comp)",
    "CREATE INDEX idx_conn_serv on ANNAL_CONN(conn_serv)",
    "CREATE INDEX idx_conn_action on ANNAL_CONN(conn_action)",
    "CREATE INDEX idx_conn_app on ANNAL_CONN(conn_app)",
    "CREATE INDEX idx_conn_action_result on ANNAL_CONN(conn_action_result)",
    "CREATE INDEX idx_conn_client_app on ANNAL_CONN(conn_client_app)",
};

std::string create_text() {
  std::string text = std::string("PRAGMA page_size = 2048; BEGIN TRANSACTION; ") + kTable + "; ";
  for (const char* index : kIndexes) {
    text += std::string(index) + "; ";
  }
  return text + "COMMIT;";
}

// Without its final semicolon, as the file stores it.
std::string trigger(int limit, int batch) {
  return "CREATE TRIGGER annal_conn_logfull AFTER INSERT \t\t\t\t\t\tON annal_conn WHEN " + std::to_string(limit) +
         " < (SELECT COUNT(*) FROM annal_conn) \t\t\t\t\t\tBEGIN \t\t\t\t\t\tDELETE FROM annal_conn WHERE conn_id IN "
         "\t\t\t\t\t\t(SELECT conn_id FROM annal_conn ORDER BY conn_date, conn_time \t\t\t\t\t\tLIMIT " +
         std::to_string(batch) + "); \t\t\t\t\t\tEND";
}

std::string delete_oldest(int count) {
  return "DELETE FROM annal_conn WHERE conn_id IN     (SELECT conn_id FROM annal_conn ORDER BY conn_date, conn_time "
         "LIMIT " +
         std::to_string(count) + ");";
}

constexpr AnnalColumn kAdded[] = {
    {"conn_app", "ALTER TABLE `ANNAL_CONN` ADD COLUMN `conn_app` TEXT DEFAULT '';"},
    {"conn_action_result", "ALTER TABLE `ANNAL_CONN` ADD COLUMN `conn_action_result` INTEGER DEFAULT 0;"},
    {"conn_client_id", "ALTER TABLE `ANNAL_CONN` ADD COLUMN `conn_client_id` TEXT DEFAULT '---';"},
    {"conn_client_app", "ALTER TABLE `ANNAL_CONN` ADD COLUMN `conn_client_app` TEXT DEFAULT '---';"},
    {"conn_client_agent", "ALTER TABLE `ANNAL_CONN` ADD COLUMN `conn_client_agent` TEXT DEFAULT '---';"},
};

// ---- helpers ----

std::string ids() {
  return value(kLog,
               "SELECT coalesce(group_concat(conn_id), '') FROM (SELECT conn_id FROM ANNAL_CONN ORDER BY conn_id);");
}

void put_entry_of(const std::string& date, const std::string& time) {
  sql(kLog, "INSERT INTO ANNAL_CONN (conn_date, conn_time) VALUES ('" + date + "', '" + time + "');");
}

Rows triggers() {
  return sql(kLog, "SELECT name, sql FROM sqlite_master WHERE type = 'trigger';");
}

class ConnTable : public ConnLogTest {};

// ---- what all operations on the table have in common ----

std::vector<Operation> operations() {
  return {
      {.name = "Remove",
       .call = [] { return annal_conn_remove_tbl(); },
       .work = {"exec DROP TABLE ANNAL_CONN;"},
       .waits = false,
       .builds_text = false,
       .failure = ANNAL_TABLE_FAILED},
      {.name = "Flush",
       .call = [] { return annal_conn_flush_tbl(); },
       .work = {"exec DELETE FROM ANNAL_CONN;"},
       .waits = true,
       .builds_text = false,
       .failure = ANNAL_EMPTY_FAILED},
      {.name = "AddTrigger",
       .call = [] { return annal_conn_add_trigger_logfull(50, 5); },
       .work = {"exec " + trigger(50, 5) + ";"},
       .waits = true,
       .builds_text = true,
       .failure = ANNAL_TRIGGER_FAILED},
      {.name = "RemoveTrigger",
       .call = [] { return annal_conn_remove_trigger_logfull(); },
       .work = {"exec DROP TRIGGER annal_conn_logfull;"},
       .waits = true,
       .builds_text = false,
       .failure = ANNAL_REMOVE_TRIGGER_FAILED},
      {.name = "DeleteOldest",
       .call = [] { return annal_conn_del_full(50); },
       .work = {"exec " + delete_oldest(50)},
       .waits = true,
       .builds_text = true,
       .failure = ANNAL_TRIGGER_FAILED},
      {.name = "DeleteByText",
       .call = [] { return annal_conn_del(2, "2020-01-02"); },
       .work = {"exec DELETE FROM ANNAL_CONN WHERE conn_date = '2020-01-02';"},
       .waits = false,
       .builds_text = true,
       .failure = ANNAL_CHANGE_FAILED},
      {.name = "CheckColumn",
       .call = [] { return annal_conn_table_check_column("conn_id"); },
       .work = {"prepare SELECT conn_id from ANNAL_CONN LIMIT 1;", "finalize"},
       .waits = true,
       .builds_text = true,
       .failure = ANNAL_QUERY_FAILED,
       .success = 7},
      {.name = "AddTextColumn",
       .call = [] { return annal_conn_table_add_column("extra", 0, "x"); },
       .work = {"exec ALTER TABLE ANNAL_CONN ADD COLUMN extra TEXT DEFAULT 'x'"},
       .waits = false,
       .builds_text = true,
       .failure = ANNAL_CHANGE_FAILED},
      {.name = "AddIntegerColumn",
       .call = [] { return annal_conn_table_add_column("extra", 1, "5"); },
       .work = {"exec ALTER TABLE ANNAL_CONN ADD COLUMN extra INTEGER DEFAULT '5'"},
       .waits = false,
       .builds_text = true,
       .failure = ANNAL_CHANGE_FAILED},
      {.name = "Modify",
       .call = [] { return annal_conn_modify_tbl(); },
       .work = {"prepare PRAGMA TABLE_INFO(ANNAL_CONN);", "finalize"},
       .waits = true,
       .builds_text = false,
       .failure = ANNAL_OPEN_FAILED,
       .without_table = ANNAL_CHANGE_FAILED},
  };
}

INSTANTIATE_TEST_SUITE_P(ConnTable, EveryOperation, testing::ValuesIn(tested(kTested, operations(), Which::kAll)),
                         &name_of);
INSTANTIATE_TEST_SUITE_P(ConnTable, EveryBuiltOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kBuildText)), &name_of);
INSTANTIATE_TEST_SUITE_P(ConnTable, EveryWaitingOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kWait)), &name_of);
INSTANTIATE_TEST_SUITE_P(ConnTable, EveryNonwaitingOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kDoNotWait)), &name_of);

// ---- annal_conn_create_tbl ----

class ConnTableCreation : public ApplianceTest {};

TEST_F(ConnTableCreation, RunsTheTablesTextAndThenTheTriggers) {
  EXPECT_EQ(annal_conn_create_tbl(3, 2), ANNAL_OK);
  Calls expected = connection(kLog, {"exec " + create_text()}, true);
  append(expected, connection(kLog, {"exec " + trigger(3, 2) + ";"}, true));
  EXPECT_EQ(sqlite.calls(), expected);
}

TEST_F(ConnTableCreation, LeavesItsTextsInTheFileWordForWord) {
  annal_conn_create_tbl(3, 2);
  Rows expected = {{kTable}};
  for (const char* index : kIndexes) {
    expected.push_back({index});
  }
  expected.push_back({trigger(3, 2)});
  EXPECT_EQ(
      sql(kLog, "SELECT sql FROM sqlite_master WHERE sql IS NOT NULL AND name <> 'sqlite_sequence' ORDER BY rowid;"),
      expected);
  EXPECT_EQ(value(kLog, "PRAGMA page_size;"), "2048");
}

TEST_F(ConnTableCreation, GivesEntriesTheLocalDateAndTimeAndThePlaceholders) {
  annal_conn_create_tbl(0, 0);
  const std::string now = "SELECT datetime('now', 'localtime');";
  const std::string before = value(kLog, now);
  sql(kLog, "INSERT INTO ANNAL_CONN DEFAULT VALUES;");
  const std::string stored = value(kLog, "SELECT conn_date || ' ' || conn_time FROM ANNAL_CONN;");
  EXPECT_LE(before, stored);
  EXPECT_LE(stored, value(kLog, now));
  EXPECT_EQ(sql(kLog, "SELECT conn_client_id, conn_client_app, conn_client_agent, conn_app FROM ANNAL_CONN;"),
            Rows({{"---", "---", "---", "NULL"}}));
}

TEST_F(ConnTableCreation, FailsIfTheTableExists) {
  annal_conn_create_tbl(3, 2);
  const Rows before = content(kLog, "ANNAL_CONN");
  sqlite.reset();
  EXPECT_EQ(annal_conn_create_tbl(9, 9), ANNAL_TABLE_FAILED);
  EXPECT_EQ(sqlite.calls(), connection(kLog, {"exec " + create_text()}, true));
  EXPECT_EQ(content(kLog, "ANNAL_CONN"), before);
}

TEST_F(ConnTableCreation, LeavesTheTableWhenTheTriggerFails) {
  sqlite.fail("exec", 2);
  EXPECT_EQ(annal_conn_create_tbl(3, 2), ANNAL_TRIGGER_FAILED);
  EXPECT_EQ(ids(), "");
  EXPECT_EQ(triggers(), Rows());
}

TEST_F(ConnTableCreation, FailsWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(annal_conn_create_tbl(3, 2), ANNAL_OPEN_FAILED);
}

TEST_F(ConnTableCreation, GivesTheTriggerItsLimits) {
  constexpr struct {
    int limit;
    int batch;
    int expected_limit;
    int expected_batch;
  } kLimits[] = {{0, 0, 10000, 1}, {-5, 3, 10000, 3}, {7, -1, 7, 1}, {INT_MIN, INT_MIN, 10000, 1}, {1, 1, 1, 1}};
  for (const auto& [limit, batch, expected_limit, expected_batch] : kLimits) {
    std::remove(kLog);
    EXPECT_EQ(annal_conn_create_tbl(limit, batch), ANNAL_OK);
    EXPECT_EQ(triggers(), Rows({{"annal_conn_logfull", trigger(expected_limit, expected_batch)}}));
  }
}

// ---- the size limit ----

TEST_F(ConnTable, RefusesASecondTriggerAndLosesTheFirst) {
  EXPECT_EQ(annal_conn_add_trigger_logfull(3, 2), ANNAL_TRIGGER_FAILED);
  EXPECT_EQ(annal_conn_remove_trigger_logfull(), ANNAL_OK);
  EXPECT_EQ(triggers(), Rows());
  EXPECT_EQ(annal_conn_remove_trigger_logfull(), ANNAL_REMOVE_TRIGGER_FAILED);
}

TEST_F(ConnTable, DropsTheOldestByDateAndTimeWhenFull) {
  annal_conn_remove_trigger_logfull();
  ASSERT_EQ(annal_conn_add_trigger_logfull(3, 2), ANNAL_OK);
  put_entry_of("2020-01-03", "10:00:00");
  put_entry_of("2020-01-02", "12:00:00");
  put_entry_of("2020-01-02", "11:00:00");
  EXPECT_EQ(ids(), "1,2,3");
  put_entry_of("2020-01-04", "00:00:00");
  EXPECT_EQ(ids(), "1,4");
}

TEST_F(ConnTable, DropsOneOf10001EntriesByDefault) {
  sql(kLog,
      "WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < 10000) "
      "INSERT INTO ANNAL_CONN (conn_date, conn_time) SELECT '2020-01-02', printf('%05d', i) FROM n;");
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM ANNAL_CONN;"), "10000");
  put_entry_of("2020-01-03", "00:00:00");
  EXPECT_EQ(sql(kLog, "SELECT COUNT(*), MIN(conn_id), MAX(conn_id) FROM ANNAL_CONN;"), Rows({{"10000", "2", "10001"}}));
}

TEST_F(ConnTable, DropsNOfTheOldest) {
  constexpr struct {
    int count;
    const char* left;
  } kCounts[] = {{0, "1,2,3"}, {2, "1"}, {5, ""}, {-1, ""}, {INT_MIN, ""}};
  for (const auto& [count, left] : kCounts) {
    sql(kLog, "DELETE FROM ANNAL_CONN; DELETE FROM sqlite_sequence;");
    put_entry_of("2020-01-03", "10:00:00");
    put_entry_of("2020-01-02", "12:00:00");
    put_entry_of("2020-01-02", "11:00:00");
    sqlite.reset();
    EXPECT_EQ(annal_conn_del_full(count), ANNAL_OK);
    EXPECT_EQ(sqlite.statements(), Calls({delete_oldest(count)}));
    EXPECT_EQ(ids(), left) << count;
  }
}

// ---- annal_conn_del ----

struct Selection {
  unsigned selector;
  int number;
  const char* text;  // null for a number
  const char* statement;
};

constexpr Selection kSelections[] = {
    {0, 7, nullptr, "DELETE FROM ANNAL_CONN WHERE conn_id = 7;"},
    {1, 1, nullptr, "DELETE FROM ANNAL_CONN WHERE conn_type = 1;"},
    {2, 0, "2020-01-02", "DELETE FROM ANNAL_CONN WHERE conn_date = '2020-01-02';"},
    {3, 0, "10:00:00", "DELETE FROM ANNAL_CONN WHERE conn_time = '10:00:00';"},
    {4, 0, "ann", "DELETE FROM ANNAL_CONN WHERE conn_user = 'ann';"},
    {5, 0, "10.0.0.5", "DELETE FROM ANNAL_CONN WHERE conn_ip = '10.0.0.5';"},
    {6, 0, "pc1", "DELETE FROM ANNAL_CONN WHERE conn_comp = 'pc1';"},
    {7, 0, "/share/a", "DELETE FROM ANNAL_CONN WHERE conn_res = '/share/a';"},
    {8, 3, nullptr, "DELETE FROM ANNAL_CONN WHERE conn_serv = 3;"},
    {9, 10, nullptr, "DELETE FROM ANNAL_CONN WHERE conn_action = 10;"},
    {10, 0, "Files", "DELETE FROM ANNAL_CONN WHERE conn_app = 'Files';"},
    {11, 13, nullptr, "DELETE FROM ANNAL_CONN WHERE conn_action_result = 13;"},
};

void PrintTo(const Selection& selection, std::ostream* out) {
  *out << selection.statement;
}

class ConnDeletionBy : public ConnTable, public testing::WithParamInterface<Selection> {
 protected:
  static const void* given() {
    return GetParam().text != nullptr ? static_cast<const void*>(GetParam().text) : &GetParam().number;
  }
};

INSTANTIATE_TEST_SUITE_P(ConnTable, ConnDeletionBy, testing::ValuesIn(kSelections),
                         [](const testing::TestParamInfo<Selection>& tested) {
                           return std::to_string(tested.param.selector);
                         });

TEST_P(ConnDeletionBy, TakesTheMatchingEntriesOnlyWithoutWaiting) {
  sql(kLog, kTested.entry);
  sql(kLog, "INSERT INTO ANNAL_CONN VALUES (8, 2, 'd', 't', 'u', 'i', 'c', 'r', 4, 11, 'a', 0, '', '', '');");
  EXPECT_EQ(annal_conn_del(GetParam().selector, given()), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), connection(kLog, {std::string("exec ") + GetParam().statement}, false));
  EXPECT_EQ(ids(), "8");
  EXPECT_EQ(annal_conn_del(GetParam().selector, given()), ANNAL_OK);
}

TEST_P(ConnDeletionBy, RefusesANullValueBeforeOpeningTheFile) {
  EXPECT_EQ(annal_conn_del(GetParam().selector, nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(sqlite.calls(), Calls());
}

TEST_P(ConnDeletionBy, TakesATextUnescaped) {
  sql(kLog, kTested.entry);
  if (GetParam().text != nullptr) {
    EXPECT_EQ(annal_conn_del(GetParam().selector, "it's"), ANNAL_CHANGE_FAILED);
    EXPECT_EQ(ids(), "7");
    EXPECT_EQ(annal_conn_del(GetParam().selector, "' OR '1'='1"), ANNAL_OK);
    EXPECT_EQ(ids(), "");
  } else {
    const int other = -GetParam().number;
    EXPECT_EQ(annal_conn_del(GetParam().selector, &other), ANNAL_OK);
    EXPECT_EQ(ids(), "7");
  }
}

TEST_F(ConnTable, RefusesSelectorAbove11BeforeOpeningTheFile) {
  std::remove(kLog);
  for (const unsigned selector : {12U, 13U, UINT_MAX}) {
    EXPECT_EQ(annal_conn_del(selector, "x"), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(kLog));
}

// ---- columns ----

TEST_F(ConnTable, ReturnsAColumnsIntegerInItsFirstRow) {
  EXPECT_EQ(annal_conn_table_check_column("conn_client_agent"), ANNAL_QUERY_FAILED);
  sql(kLog, "INSERT INTO ANNAL_CONN (conn_type, conn_serv, conn_user) VALUES (-1, 12, 'ann');");
  EXPECT_EQ(annal_conn_table_check_column("conn_serv"), 12);
  EXPECT_EQ(annal_conn_table_check_column("conn_user"), 0);
  EXPECT_EQ(annal_conn_table_check_column("conn_type"), ANNAL_QUERY_FAILED);
  EXPECT_EQ(annal_conn_table_check_column("conn_none"), ANNAL_QUERY_FAILED);
}

TEST_F(ConnTable, RefusesBadArgumentsBeforeOpeningTheFile) {
  std::remove(kLog);
  EXPECT_EQ(annal_conn_table_check_column(nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(annal_conn_table_add_column(nullptr, 0, "0"), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(annal_conn_table_add_column("x", 0, nullptr), ANNAL_BAD_ARGUMENT);
  for (const int kind : {2, -1, INT_MAX}) {
    EXPECT_EQ(annal_conn_table_add_column("x", kind, "0"), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(kLog));
}

TEST_F(ConnTable, GetsColumnsOfBothKinds) {
  sql(kLog, kTested.entry);
  EXPECT_EQ(annal_conn_table_add_column("extra", 1, "5"), ANNAL_OK);
  EXPECT_EQ(annal_conn_table_add_column("note", 0, ""), ANNAL_OK);
  EXPECT_EQ(annal_conn_table_add_column("note", 0, ""), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(sql(kLog, "SELECT typeof(extra), extra, typeof(note), note FROM ANNAL_CONN;"),
            Rows({{"integer", "5", "text", ""}}));
}

constexpr const char* kNames[] = {"conn_id",        "conn_type",       "conn_date",        "conn_time",
                                  "conn_user",      "conn_ip",         "conn_comp",        "conn_res",
                                  "conn_serv",      "conn_action",     "conn_app",         "conn_action_result",
                                  "conn_client_id", "conn_client_app", "conn_client_agent"};

// A table of the first N columns, with one entry.
void make_older_table(std::size_t columns) {
  std::string text = "CREATE TABLE ANNAL_CONN (conn_id INTEGER PRIMARY KEY";
  for (std::size_t i = 1; i < columns; ++i) {
    text += std::string(", ") + kNames[i];
  }
  std::remove(kLog);
  sql(kLog, text + "); INSERT INTO ANNAL_CONN (conn_id) VALUES (1);");
}

TEST_F(ConnTable, GetsTheLastColumnsThatItLacks) {
  for (std::size_t columns = 10; columns <= 15; ++columns) {
    make_older_table(columns);
    sqlite.reset();
    EXPECT_EQ(annal_conn_modify_tbl(), ANNAL_OK);
    std::string run = "exec BEGIN TRANSACTION;";
    for (std::size_t i = columns; i < 15; ++i) {
      EXPECT_STREQ(kAdded[i - 10].name, kNames[i]);
      run += kAdded[i - 10].add_sql;
    }
    Calls work = {"prepare PRAGMA TABLE_INFO(ANNAL_CONN);"};
    if (columns < 15) {
      work.push_back(run + "COMMIT;");
    }
    work.emplace_back("finalize");
    EXPECT_EQ(sqlite.calls(), connection(kLog, work, true));
    EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM pragma_table_info('ANNAL_CONN');"), "15");
  }
}

TEST_F(ConnTable, GivesOldEntriesTheDefaultsOfAMigration) {
  make_older_table(10);
  EXPECT_EQ(annal_conn_modify_tbl(), ANNAL_OK);
  EXPECT_EQ(sql(kLog,
                "SELECT conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent FROM "
                "ANNAL_CONN;"),
            Rows({{"", "0", "---", "---", "---"}}));
}

TEST_F(ConnTable, RefusesToMigrateATableThatIsNotAnOlderForm) {
  make_older_table(9);
  EXPECT_EQ(annal_conn_modify_tbl(), ANNAL_CHANGE_FAILED);
  sql(kLog, "DROP TABLE ANNAL_CONN;");
  EXPECT_EQ(annal_conn_modify_tbl(), ANNAL_CHANGE_FAILED);
  ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
  sql(kLog, "ALTER TABLE ANNAL_CONN ADD COLUMN extra;");
  EXPECT_EQ(annal_conn_modify_tbl(), ANNAL_CHANGE_FAILED);
}

TEST_F(ConnTable, KnowsEachOfItsColumnsByName) {
  for (const char* name : kNames) {
    std::remove(kLog);
    ASSERT_EQ(annal_conn_create_tbl(0, 0), ANNAL_OK);
    sql(kLog, std::string("ALTER TABLE ANNAL_CONN RENAME COLUMN ") + name + " TO other;");
    EXPECT_EQ(annal_conn_modify_tbl(), ANNAL_CHANGE_FAILED) << name;
  }
}

// ---- the flag ----

TEST(ConnNameMatching, IsSwitchedOnByAnyNonzeroValue) {
  EXPECT_EQ(is_conn_name_matching, 0);
  for (const int on : {7, -1, INT_MIN}) {
    EXPECT_EQ(annal_conn_enable_name_matching(on), 0);
    EXPECT_EQ(is_conn_name_matching, 1);
  }
  EXPECT_EQ(annal_conn_enable_name_matching(0), 0);
  EXPECT_EQ(is_conn_name_matching, 0);
}

}  // namespace
}  // namespace annal::test
