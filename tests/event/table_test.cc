// The event log's table: its layout in the file, its maintenance and its result codes.
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/suites/log_operations.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLog = "/etc/logs/event.log";

// ---- the table as the file holds it ----

constexpr const char* kTable =
    "CREATE TABLE ANNAL_EVENT ( event_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, event_type INTEGER, "
    "event_date TEXT DEFAULT (strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME')), "
    "event_time TEXT DEFAULT (strftime('%H:%M:%S', CURRENT_TIMESTAMP, 'LOCALTIME')), event_user TEXT, event_ip TEXT, "
    "event_comp TEXT, event_desc TEXT, event_msgid TEXT, event_timet INTEGER, event_app_id TEXT, event_app_name TEXT, "
    "event_category_id TEXT, event_category TEXT, event_client_id TEXT DEFAULT '---', event_client_app TEXT DEFAULT "
    "'---', event_client_agent TEXT DEFAULT '---' )";

constexpr const char* kIndexes[] = {
    "CREATE INDEX idx_event_type on ANNAL_EVENT(event_type)",
    "CREATE INDEX idx_event_date on ANNAL_EVENT(event_date)",
    "CREATE INDEX idx_event_time on ANNAL_EVENT(event_time)",
    "CREATE INDEX idx_event_user on ANNAL_EVENT(event_user)",
    "CREATE INDEX idx_event_ip on ANNAL_EVENT(event_ip)",
    "CREATE INDEX idx_event_comp on ANNAL_EVENT(event_comp)",
    "CREATE INDEX idx_event_msgid on ANNAL_EVENT(event_msgid)",
    "CREATE INDEX idx_event_timet on ANNAL_EVENT(event_timet)",
    "CREATE INDEX idx_event_app_id on ANNAL_EVENT(event_app_id)",
    "CREATE INDEX idx_event_app_name on ANNAL_EVENT(event_app_name)",
    "CREATE INDEX idx_event_category_id on ANNAL_EVENT(event_category_id)",
    "CREATE INDEX idx_event_category on ANNAL_EVENT(event_category)",
    "CREATE INDEX idx_event_client_app on ANNAL_EVENT(event_client_app)",
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
  return "CREATE TRIGGER annal_event_logfull AFTER INSERT \tON annal_event WHEN " + std::to_string(limit) +
         " < (SELECT COUNT(*) FROM annal_event) \tBEGIN \t\tDELETE FROM annal_event WHERE event_id IN \t\t(SELECT "
         "event_id FROM annal_event ORDER BY event_date, event_time LIMIT " +
         std::to_string(batch) + "); \tEND";
}

std::string trigger_text(int limit, int batch) {
  return trigger(limit, batch) + ";";
}

std::string trim_text(int limit) {
  return "DELETE FROM annal_event WHERE event_id IN ( \t\tSELECT event_id FROM annal_event ORDER BY event_date, "
         "event_time LIMIT ( \t\t\tSELECT MAX(COUNT(event_id) - " +
         std::to_string(limit) + ", 0) FROM annal_event \t\t) \t)";
}

constexpr const char* kRebuildText =
    "replace into ANNAL_EVENT (event_id,event_type,event_date,event_time,event_user,event_ip,event_comp,event_desc,"
    "event_msgid,event_timet) \t\tselect event_id, event_type, event_date, event_time, event_user, event_ip, "
    "event_comp, event_desc, event_msgid, strftime('%s',(event_date||event_time)) as event_timet from ANNAL_EVENT;";

// ---- helpers ----

std::string ids() {
  std::string found;
  for (const Row& row : sql(kLog, "SELECT event_id FROM ANNAL_EVENT ORDER BY event_id;")) {
    found += (found.empty() ? "" : ",") + row.at(0);
  }
  return found;
}

void put_entry_of(const std::string& date, const std::string& time) {
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_date, event_time) VALUES ('" + date + "', '" + time + "');");
}

std::string schema() {
  std::string all;
  for (const Row& row : sql(kLog, "SELECT name, sql FROM sqlite_master ORDER BY name;")) {
    all += row.at(0) + ": " + row.at(1) + "\n";
  }
  return all;
}

Row column_names() {
  Row names;
  for (const Row& row : sql(kLog, "SELECT name FROM pragma_table_info('ANNAL_EVENT');")) {
    names.push_back(row.at(0));
  }
  return names;
}

// The SQLite calls for one statement.
Calls one_exec(const std::string& statement, bool waits) {
  return connection(kLog, {"exec " + statement}, waits);
}

// A log with an empty table.
class EventTable : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
    sqlite.reset();
  }
};

// ---- what all operations on the table have in common ----

constexpr TestedLog kTested{
    .path = kLog,
    .table = "ANNAL_EVENT",
    .trigger = "annal_event_logfull",
    .create = annal_event_create_tbl,
    .entry =
        "INSERT INTO ANNAL_EVENT (event_id, event_type, event_date, event_time) "
        "VALUES (7, 1, '2020-01-02', '10:00:00');",
};

std::vector<Operation> operations() {
  return {{.name = "Remove",
           .call = [] { return annal_event_remove_tbl(); },
           .work = {"exec DROP TABLE ANNAL_EVENT;"},
           .waits = false,
           .builds_text = false,
           .failure = ANNAL_TABLE_FAILED},
          {.name = "Flush",
           .call = [] { return annal_event_flush_tbl(); },
           .work = {"exec DELETE FROM ANNAL_EVENT;"},
           .waits = true,
           .builds_text = false,
           .failure = ANNAL_EMPTY_FAILED},
          {.name = "AddTrigger",
           .call = [] { return annal_event_add_trigger_logfull(50, 5); },
           .work = {"exec " + trigger_text(50, 5)},
           .waits = true,
           .builds_text = true,
           .failure = ANNAL_TRIGGER_FAILED},
          {.name = "RemoveTrigger",
           .call = [] { return annal_event_remove_trigger_logfull(); },
           .work = {"exec DROP TRIGGER IF EXISTS annal_event_logfull;"},
           .waits = true,
           .builds_text = false,
           .failure = ANNAL_REMOVE_TRIGGER_FAILED,
           .without_table = ANNAL_OK},
          {.name = "Trim",
           .call = [] { return annal_event_del_logfull_over_size(50); },
           .work = {"exec " + trim_text(50)},
           .waits = true,
           .builds_text = true,
           .failure = ANNAL_TRIGGER_FAILED},
          {.name = "DeleteByNumber",
           .call =
               [] {
                 const int id = 7;
                 return annal_event_del(0, &id);
               },
           .work = {"exec DELETE FROM ANNAL_EVENT WHERE event_id = 7;"},
           .waits = false,
           .builds_text = true,
           .failure = ANNAL_CHANGE_FAILED},
          {.name = "DeleteByText",
           .call = [] { return annal_event_del(2, "2020-01-02"); },
           .work = {"exec DELETE FROM ANNAL_EVENT WHERE event_date = '2020-01-02';"},
           .waits = false,
           .builds_text = true,
           .failure = ANNAL_CHANGE_FAILED},
          {.name = "CheckColumn",
           .call = [] { return annal_event_table_check_column("event_id"); },
           .work = {"prepare SELECT event_id from ANNAL_EVENT LIMIT 1;", "finalize"},
           .waits = true,
           .builds_text = true,
           .failure = ANNAL_QUERY_FAILED,
           .success = 7},
          {.name = "AddTextColumn",
           .call = [] { return annal_event_table_add_column("event_extra", 0, "x"); },
           .work = {"exec ALTER TABLE ANNAL_EVENT ADD COLUMN event_extra TEXT DEFAULT 'x'"},
           .waits = false,
           .builds_text = true,
           .failure = ANNAL_CHANGE_FAILED},
          {.name = "AddIntegerColumn",
           .call = [] { return annal_event_table_add_column("event_extra", 1, "5"); },
           .work = {"exec ALTER TABLE ANNAL_EVENT ADD COLUMN event_extra INTEGER DEFAULT '5'"},
           .waits = false,
           .builds_text = true,
           .failure = ANNAL_CHANGE_FAILED},
          {.name = "RebuildTimestamps",
           .call = [] { return annal_event_table_update_event_timet(nullptr, "%s"); },
           .work = {std::string("exec ") + kRebuildText},
           .waits = false,
           .builds_text = true,
           .failure = ANNAL_CHANGE_FAILED},
          {.name = "Modify",
           .call = [] { return annal_event_modify_tbl(); },
           .work = {"prepare PRAGMA TABLE_INFO(ANNAL_EVENT);", "finalize"},
           .waits = true,
           .builds_text = false,
           .failure = ANNAL_OPEN_FAILED,
           .without_table = ANNAL_CHANGE_FAILED}};
}

INSTANTIATE_TEST_SUITE_P(EventTable, EveryOperation, testing::ValuesIn(tested(kTested, operations(), Which::kAll)),
                         &name_of);
INSTANTIATE_TEST_SUITE_P(EventTable, EveryBuiltOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kBuildText)), &name_of);
INSTANTIATE_TEST_SUITE_P(EventTable, EveryWaitingOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kWait)), &name_of);
INSTANTIATE_TEST_SUITE_P(EventTable, EveryNonwaitingOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kDoNotWait)), &name_of);

// ---- annal_event_create_tbl ----

class EventTableCreation : public ApplianceTest {};

TEST_F(EventTableCreation, RunsTheTablesTextAndThenTheTriggers) {
  EXPECT_EQ(annal_event_create_tbl(3, 2), ANNAL_OK);
  Calls expected = one_exec(create_text(), true);
  const Calls second = one_exec(trigger_text(3, 2), true);
  expected.insert(expected.end(), second.begin(), second.end());
  EXPECT_EQ(sqlite.calls(), expected);
}

TEST_F(EventTableCreation, LeavesTheTableInTheFileWordForWord) {
  annal_event_create_tbl(3, 2);
  EXPECT_EQ(sql(kLog,
                "SELECT name, tbl_name, sql FROM sqlite_master WHERE type = 'table' AND name <> "
                "'sqlite_sequence';"),
            Rows({{"ANNAL_EVENT", "ANNAL_EVENT", kTable}}));
}

TEST_F(EventTableCreation, LeavesTheIndexesInTheFileWordForWord) {
  annal_event_create_tbl(3, 2);
  Rows expected;
  for (const char* index : kIndexes) {
    expected.push_back({index});
  }
  EXPECT_EQ(sql(kLog, "SELECT sql FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL ORDER BY rowid;"),
            expected);
}

TEST_F(EventTableCreation, LeavesTheTriggerInTheFileWordForWord) {
  annal_event_create_tbl(3, 2);
  EXPECT_EQ(sql(kLog, "SELECT name, sql FROM sqlite_master WHERE type = 'trigger';"),
            Rows({{"annal_event_logfull", trigger(3, 2)}}));
}

TEST_F(EventTableCreation, MakesPagesOf2048Bytes) {
  annal_event_create_tbl(0, 0);
  EXPECT_EQ(value(kLog, "PRAGMA page_size;"), "2048");
}

TEST_F(EventTableCreation, MakesSeventeenColumns) {
  annal_event_create_tbl(0, 0);
  const std::string date = "strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME')";
  const std::string time = "strftime('%H:%M:%S', CURRENT_TIMESTAMP, 'LOCALTIME')";
  EXPECT_EQ(sql(kLog, "SELECT cid + 1, name, type, dflt_value, pk FROM pragma_table_info('ANNAL_EVENT');"),
            Rows({{"1", "event_id", "INTEGER", "NULL", "1"},
                  {"2", "event_type", "INTEGER", "NULL", "0"},
                  {"3", "event_date", "TEXT", date, "0"},
                  {"4", "event_time", "TEXT", time, "0"},
                  {"5", "event_user", "TEXT", "NULL", "0"},
                  {"6", "event_ip", "TEXT", "NULL", "0"},
                  {"7", "event_comp", "TEXT", "NULL", "0"},
                  {"8", "event_desc", "TEXT", "NULL", "0"},
                  {"9", "event_msgid", "TEXT", "NULL", "0"},
                  {"10", "event_timet", "INTEGER", "NULL", "0"},
                  {"11", "event_app_id", "TEXT", "NULL", "0"},
                  {"12", "event_app_name", "TEXT", "NULL", "0"},
                  {"13", "event_category_id", "TEXT", "NULL", "0"},
                  {"14", "event_category", "TEXT", "NULL", "0"},
                  {"15", "event_client_id", "TEXT", "'---'", "0"},
                  {"16", "event_client_app", "TEXT", "'---'", "0"},
                  {"17", "event_client_agent", "TEXT", "'---'", "0"}}));
}

TEST_F(EventTableCreation, GivesEntriesTheLocalDateAndTimeAndThePlaceholders) {
  annal_event_create_tbl(0, 0);
  const std::string now = "SELECT datetime('now', 'localtime');";
  const std::string before = value(kLog, now);
  sql(kLog, "INSERT INTO ANNAL_EVENT DEFAULT VALUES;");
  const std::string after = value(kLog, now);
  const std::string stored = value(kLog, "SELECT event_date || ' ' || event_time FROM ANNAL_EVENT;");
  EXPECT_LE(before, stored);
  EXPECT_LE(stored, after);
  EXPECT_EQ(sql(kLog,
                "SELECT event_id, event_type, event_user, event_ip, event_comp, event_desc, event_msgid, "
                "event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id, "
                "event_client_app, event_client_agent FROM ANNAL_EVENT;"),
            Rows({{"1", "NULL", "NULL", "NULL", "NULL", "NULL", "NULL", "NULL", "NULL", "NULL", "NULL", "NULL", "---",
                   "---", "---"}}));
}

TEST_F(EventTableCreation, NeverReusesAnEntryNumber) {
  annal_event_create_tbl(0, 0);
  sql(kLog, "INSERT INTO ANNAL_EVENT DEFAULT VALUES; INSERT INTO ANNAL_EVENT DEFAULT VALUES;");
  sql(kLog, "DELETE FROM ANNAL_EVENT; INSERT INTO ANNAL_EVENT DEFAULT VALUES;");
  EXPECT_EQ(ids(), "3");
}

TEST_F(EventTableCreation, FailsIfTheTableExists) {
  ASSERT_EQ(annal_event_create_tbl(3, 2), ANNAL_OK);
  const std::string before = schema();
  sqlite.reset();
  EXPECT_EQ(annal_event_create_tbl(5, 4), ANNAL_TABLE_FAILED);
  EXPECT_EQ(sqlite.calls(), one_exec(create_text(), true));
  EXPECT_EQ(schema(), before);
}

TEST_F(EventTableCreation, LeavesNoTableWithoutItsIndexes) {
  sql(kLog, "CREATE TABLE other (x); CREATE INDEX idx_event_client_app ON other(x);");
  const std::string before = schema();
  EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_TABLE_FAILED);
  EXPECT_EQ(schema(), before);
}

TEST_F(EventTableCreation, ReportsAFailedStatement) {
  sqlite.fail("exec");
  EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_TABLE_FAILED);
  EXPECT_EQ(sqlite.calls(), one_exec(create_text(), true));
}

TEST_F(EventTableCreation, FailsOnANonDatabaseFile) {
  put_garbage(kLog);
  EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_TABLE_FAILED);
}

TEST_F(EventTableCreation, FailsWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_OPEN_FAILED);
}

TEST_F(EventTableCreation, ClosesTheHandleOfAFailedOpen) {
  sqlite.fail("open");
  EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "close"}));
}

TEST_F(EventTableCreation, LeavesTheTableWhenTheTriggerFails) {
  sqlite.fail("exec", 2);
  EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_TRIGGER_FAILED);
  EXPECT_EQ(column_names().size(), 17U);
}

TEST_F(EventTableCreation, LeavesTheTableIfTheTriggerExists) {
  sql(kLog, "CREATE TABLE other (x); CREATE TRIGGER annal_event_logfull AFTER INSERT ON other BEGIN SELECT 1; END;");
  EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_TRIGGER_FAILED);
  EXPECT_EQ(column_names().size(), 17U);
}

TEST_F(EventTableCreation, LeavesTheTableIfTheTriggersFileCannotBeOpened) {
  sqlite.fail("open", 2);
  EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_OPEN_FAILED);
  EXPECT_EQ(column_names().size(), 17U);
}

TEST_F(EventTableCreation, LeavesTheTableIfTheTriggerCannotBeBuilt) {
  sqlite.fail("mprintf");
  EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_NO_MEMORY);
  EXPECT_EQ(column_names().size(), 17U);
}

TEST_F(EventTableCreation, WaitsForALock) {
  const LockHolder lock(kLog, 250ms);
  EXPECT_EQ(annal_event_create_tbl(0, 0), ANNAL_OK);
  EXPECT_EQ(value(kLog, "PRAGMA page_size;"), "2048");
}

// ---- the log-full trigger ----

struct Limits {
  int limit;
  int batch;
  int used_limit;
  int used_batch;
};

constexpr Limits kLimits[] = {
    {3, 2, 3, 2},           {1, 1, 1, 1},
    {0, 0, 100000, 1},      {-5, 3, 100000, 3},
    {5, -1, 5, 1},          {INT_MIN, INT_MIN, 100000, 1},
    {100001, 7, 100001, 7}, {INT_MAX, INT_MAX, INT_MAX, INT_MAX},
};

TEST_F(EventTableCreation, GivesTheTriggerItsLimits) {
  for (const Limits& limits : kLimits) {
    SCOPED_TRACE(trigger(limits.limit, limits.batch));
    std::remove(kLog);
    EXPECT_EQ(annal_event_create_tbl(limits.limit, limits.batch), ANNAL_OK);
    EXPECT_EQ(sqlite.statements().back(), trigger_text(limits.used_limit, limits.used_batch));
  }
}

TEST_F(EventTable, GivesALaterTriggerItsLimits) {
  for (const Limits& limits : kLimits) {
    SCOPED_TRACE(trigger(limits.limit, limits.batch));
    ASSERT_EQ(annal_event_remove_trigger_logfull(), ANNAL_OK);
    EXPECT_EQ(annal_event_add_trigger_logfull(limits.limit, limits.batch), ANNAL_OK);
    EXPECT_EQ(value(kLog, "SELECT sql FROM sqlite_master WHERE type = 'trigger';"),
              trigger(limits.used_limit, limits.used_batch));
  }
}

TEST_F(EventTable, RefusesASecondTrigger) {
  EXPECT_EQ(annal_event_add_trigger_logfull(3, 2), ANNAL_TRIGGER_FAILED);
  EXPECT_EQ(value(kLog, "SELECT sql FROM sqlite_master WHERE type = 'trigger';"), trigger(100000, 1));
}

TEST_F(EventTable, DropsItsTriggerEvenIfThereIsNone) {
  EXPECT_EQ(annal_event_remove_trigger_logfull(), ANNAL_OK);
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM sqlite_master WHERE type = 'trigger';"), "0");
  EXPECT_EQ(annal_event_remove_trigger_logfull(), ANNAL_OK);
}

class FullEventTable : public ApplianceTest {
 protected:
  static void limit_to(int limit, int batch) { ASSERT_EQ(annal_event_create_tbl(limit, batch), ANNAL_OK); }
};

TEST_F(FullEventTable, HoldsAsManyEntriesAsItsLimit) {
  limit_to(3, 2);
  put_entry_of("2020-01-01", "10:00:00");
  put_entry_of("2020-01-02", "10:00:00");
  put_entry_of("2020-01-03", "10:00:00");
  EXPECT_EQ(ids(), "1,2,3");
}

TEST_F(FullEventTable, DropsABatchWithTheNextEntry) {
  limit_to(3, 2);
  put_entry_of("2020-01-01", "10:00:00");
  put_entry_of("2020-01-02", "10:00:00");
  put_entry_of("2020-01-03", "10:00:00");
  put_entry_of("2020-01-04", "10:00:00");
  EXPECT_EQ(ids(), "3,4");
}

TEST_F(FullEventTable, DropsTheOldestByDateNotByNumber) {
  limit_to(3, 2);
  put_entry_of("2020-01-04", "00:00:00");
  put_entry_of("2020-01-01", "23:00:00");
  put_entry_of("2020-01-02", "22:00:00");
  put_entry_of("2020-01-03", "01:00:00");
  EXPECT_EQ(ids(), "1,4");
}

TEST_F(FullEventTable, DropsTheOldestByTimeWithinADate) {
  limit_to(3, 1);
  put_entry_of("2020-01-01", "12:00:00");
  put_entry_of("2020-01-01", "11:59:59");
  put_entry_of("2020-01-01", "23:00:00");
  put_entry_of("2020-01-02", "00:00:00");
  EXPECT_EQ(ids(), "1,3,4");
}

TEST_F(FullEventTable, DropsTheNewEntryIfItIsTheOldest) {
  limit_to(2, 1);
  put_entry_of("2020-01-01", "10:00:00");
  put_entry_of("2020-01-02", "10:00:00");
  put_entry_of("2019-12-31", "10:00:00");
  EXPECT_EQ(ids(), "1,2");
}

TEST_F(FullEventTable, DropsNothingWithoutItsTrigger) {
  limit_to(2, 1);
  ASSERT_EQ(annal_event_remove_trigger_logfull(), ANNAL_OK);
  put_entry_of("2020-01-01", "10:00:00");
  put_entry_of("2020-01-02", "10:00:00");
  put_entry_of("2020-01-03", "10:00:00");
  EXPECT_EQ(ids(), "1,2,3");
}

// ---- annal_event_del_logfull_over_size ----

class TrimmedEventTable : public EventTable {
 protected:
  void SetUp() override {
    EventTable::SetUp();
    put_entry_of("2020-01-03", "10:00:00");
    put_entry_of("2020-01-01", "23:00:00");
    put_entry_of("2020-01-04", "09:00:00");
    put_entry_of("2020-01-01", "22:00:00");
    put_entry_of("2020-01-02", "00:00:00");
  }
};

TEST_F(TrimmedEventTable, KeepsTheNewestByDateAndTime) {
  EXPECT_EQ(annal_event_del_logfull_over_size(4), ANNAL_OK);
  EXPECT_EQ(ids(), "1,2,3,5");
  EXPECT_EQ(annal_event_del_logfull_over_size(3), ANNAL_OK);
  EXPECT_EQ(ids(), "1,3,5");
  EXPECT_EQ(annal_event_del_logfull_over_size(1), ANNAL_OK);
  EXPECT_EQ(ids(), "3");
}

TEST_F(TrimmedEventTable, KeepsAllUpToTheLimit) {
  for (const int limit : {5, 6, INT_MAX}) {
    SCOPED_TRACE(limit);
    EXPECT_EQ(annal_event_del_logfull_over_size(limit), ANNAL_OK);
    EXPECT_EQ(ids(), "1,2,3,4,5");
  }
}

TEST_F(TrimmedEventTable, Keeps100000WithoutALimit) {
  for (const int none : {0, -1, INT_MIN}) {
    SCOPED_TRACE(none);
    EXPECT_EQ(annal_event_del_logfull_over_size(none), ANNAL_OK);
    EXPECT_EQ(sqlite.statements().back(), trim_text(100000));
    EXPECT_EQ(ids(), "1,2,3,4,5");
  }
}

TEST_F(EventTable, TrimsTo100000WithoutALimit) {
  sql(kLog,
      "DROP TRIGGER annal_event_logfull; "
      "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < 100002) "
      "INSERT INTO ANNAL_EVENT (event_id, event_date) SELECT i, date('2000-01-01', -i || ' days') FROM n;");
  EXPECT_EQ(annal_event_del_logfull_over_size(0), ANNAL_OK);
  EXPECT_EQ(sql(kLog, "SELECT COUNT(*), MIN(event_id), MAX(event_id) FROM ANNAL_EVENT;"),
            Rows({{"100000", "1", "100000"}}));
}

TEST_F(EventTable, StaysUnchangedIfEmpty) {
  EXPECT_EQ(annal_event_del_logfull_over_size(1), ANNAL_OK);
  EXPECT_EQ(annal_event_flush_tbl(), ANNAL_OK);
}

// ---- annal_event_flush_tbl, annal_event_remove_tbl ----

TEST_F(TrimmedEventTable, IsEmptiedAndKept) {
  EXPECT_EQ(annal_event_flush_tbl(), ANNAL_OK);
  EXPECT_EQ(ids(), "");
  EXPECT_EQ(schema().find(kTable), std::strlen("ANNAL_EVENT: "));
}

TEST_F(TrimmedEventTable, IsRemovedWithItsIndexesAndItsTrigger) {
  EXPECT_EQ(annal_event_remove_tbl(), ANNAL_OK);
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM sqlite_master WHERE name <> 'sqlite_sequence';"), "0");
  EXPECT_EQ(annal_event_remove_tbl(), ANNAL_TABLE_FAILED);
}

TEST_F(TrimmedEventTable, CanBeRecreatedAfterItsRemoval) {
  ASSERT_EQ(annal_event_remove_tbl(), ANNAL_OK);
  EXPECT_EQ(annal_event_create_tbl(3, 2), ANNAL_OK);
  EXPECT_EQ(ids(), "");
}

// ---- annal_event_del ----

struct Selection {
  const char* name;
  unsigned selector;
  int number;
  const char* text;  // null: the number is the value
  const char* statement;
  const char* left;  // the remaining entries of 1, 2 and 3; 1 and 3 differ only in their numbers

  [[nodiscard]] const void* value() const { return text != nullptr ? static_cast<const void*>(text) : &number; }
};

void PrintTo(const Selection& selection, std::ostream* out) {
  *out << selection.name;
}

constexpr Selection kSelections[] = {
    {"Id", 0, 1, nullptr, "DELETE FROM ANNAL_EVENT WHERE event_id = 1;", "2,3"},
    {"Type", 1, 2, nullptr, "DELETE FROM ANNAL_EVENT WHERE event_type = 2;", "2"},
    {"Date", 2, 0, "2020-01-01", "DELETE FROM ANNAL_EVENT WHERE event_date = '2020-01-01';", "2"},
    {"Time", 3, 0, "10:00:00", "DELETE FROM ANNAL_EVENT WHERE event_time = '10:00:00';", "2"},
    {"User", 4, 0, "ann", "DELETE FROM ANNAL_EVENT WHERE event_user = 'ann';", "2"},
    {"Address", 5, 0, "10.0.0.1", "DELETE FROM ANNAL_EVENT WHERE event_ip = '10.0.0.1';", "2"},
    {"Computer", 6, 0, "one", "DELETE FROM ANNAL_EVENT WHERE event_comp = 'one';", "2"},
    {"Message", 7, 0, "Fan failed.", "DELETE FROM ANNAL_EVENT WHERE event_desc = 'Fan failed.';", "2"},
    {"MessageId", 8, 0, "m1", "DELETE FROM ANNAL_EVENT WHERE event_msgid = 'm1';", "2"},
    {"TimeStamp", 9, 1600000000, nullptr, "DELETE FROM ANNAL_EVENT WHERE event_timet = 1600000000;", "2"},
};

std::string name_of_selection(const testing::TestParamInfo<Selection>& tested) {
  return tested.param.name;
}

class DeletionBy : public EventTable, public testing::WithParamInterface<Selection> {
 protected:
  void SetUp() override {
    EventTable::SetUp();
    sql(kLog,
        "INSERT INTO ANNAL_EVENT (event_id, event_type, event_date, event_time, event_user, event_ip, "
        "event_comp, event_desc, event_msgid, event_timet) VALUES "
        "(1, 2, '2020-01-01', '10:00:00', 'ann', '10.0.0.1', 'one', 'Fan failed.', 'm1', 1600000000), "
        "(2, 1, '2020-01-02', '11:00:00', 'anna', '10.0.0.11', 'ones', 'Fan failed', 'm11', 1600000001), "
        "(3, 2, '2020-01-01', '10:00:00', 'ann', '10.0.0.1', 'one', 'Fan failed.', 'm1', 1600000000);");
  }
};

INSTANTIATE_TEST_SUITE_P(EventTable, DeletionBy, testing::ValuesIn(kSelections), &name_of_selection);

TEST_P(DeletionBy, RunsExactlyItsStatementWithoutABusyTimeout) {
  EXPECT_EQ(annal_event_del(GetParam().selector, GetParam().value()), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), one_exec(GetParam().statement, false));
}

TEST_P(DeletionBy, TakesTheMatchingEntriesOnly) {
  EXPECT_EQ(annal_event_del(GetParam().selector, GetParam().value()), ANNAL_OK);
  EXPECT_EQ(ids(), GetParam().left);
}

TEST_P(DeletionBy, SucceedsWhenNothingMatches) {
  const int number = -77;
  const bool is_text = GetParam().text != nullptr;
  EXPECT_EQ(annal_event_del(GetParam().selector, is_text ? static_cast<const void*>("none") : &number), ANNAL_OK);
  EXPECT_EQ(ids(), "1,2,3");
}

TEST_P(DeletionBy, RefusesANullValueBeforeOpeningTheFile) {
  std::remove(kLog);
  EXPECT_EQ(annal_event_del(GetParam().selector, nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_TRUE(sqlite.calls().empty());
  EXPECT_FALSE(exists(kLog));
}

class DeletionByText : public DeletionBy {};
INSTANTIATE_TEST_SUITE_P(EventTable, DeletionByText,
                         testing::ValuesIn(std::begin(kSelections) + 2, std::begin(kSelections) + 9),
                         &name_of_selection);

TEST_P(DeletionByText, FailsOnAQuoteInTheText) {
  EXPECT_EQ(annal_event_del(GetParam().selector, "it's"), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(ids(), "1,2,3");
}

TEST_P(DeletionByText, TakesSqlInTheText) {
  EXPECT_EQ(annal_event_del(GetParam().selector, "' OR event_id = '2"), ANNAL_OK);
  EXPECT_EQ(ids(), "1,3");
}

TEST_F(EventTable, RefusesSelectorAbove9BeforeOpeningTheFile) {
  std::remove(kLog);
  for (const unsigned selector : {10U, 11U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(selector);
    EXPECT_EQ(annal_event_del(selector, "1234"), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(annal_event_del(selector, nullptr), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_TRUE(sqlite.calls().empty());
  EXPECT_FALSE(exists(kLog));
}

TEST_F(EventTable, DeletesByNegativeNumbers) {
  const int least = INT_MIN;
  EXPECT_EQ(annal_event_del(1, &least), ANNAL_OK);
  EXPECT_EQ(sqlite.statements().back(), "DELETE FROM ANNAL_EVENT WHERE event_type = -2147483648;");
}

TEST_F(EventTable, DeletesByTextsOfAnyLengthAndWithPercentSigns) {
  const std::string text = "100%s %d " + std::string(5000, 'x');
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_desc) VALUES ('" + text + "');");
  EXPECT_EQ(annal_event_del(7, text.c_str()), ANNAL_OK);
  EXPECT_EQ(ids(), "");
}

// ---- annal_event_table_check_column ----

TEST_F(EventTable, ChecksForAColumnWithOneQuery) {
  EXPECT_EQ(annal_event_table_check_column("event_timet"), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "busy_timeout 20000",
                                   "prepare SELECT event_timet from ANNAL_EVENT LIMIT 1;", "finalize", "close"}));
}

TEST_F(EventTable, ReportsAnUnknownColumnMissing) {
  sql(kLog, "INSERT INTO ANNAL_EVENT DEFAULT VALUES;");
  EXPECT_EQ(annal_event_table_check_column("event_colour"), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "busy_timeout 20000",
                                   "prepare SELECT event_colour from ANNAL_EVENT LIMIT 1;", "close"}));
}

TEST_F(EventTable, ReturnsAColumnsInteger) {
  const struct {
    const char* stored;
    int answer;
  } values[] = {
      {"1600000000", 1600000000},
      {"2147483647", INT_MAX},
      {"1", 1},
      {"0", 0},
      {"-1", ANNAL_QUERY_FAILED},
      {"-20", ANNAL_QUERY_FAILED},
      {"-2147483648", ANNAL_QUERY_FAILED},
      {"'---'", 0},
      {"''", 0},
      {"'12 entries'", 12},
      {"'-3 entries'", ANNAL_QUERY_FAILED},
      {"7.9", 7},
      {"NULL", 0},
  };
  sql(kLog, "INSERT INTO ANNAL_EVENT DEFAULT VALUES;");
  for (const auto& [stored, answer] : values) {
    SCOPED_TRACE(stored);
    sql(kLog, std::string("UPDATE ANNAL_EVENT SET event_timet = ") + stored + ";");
    EXPECT_EQ(annal_event_table_check_column("event_timet"), answer);
  }
}

TEST_F(EventTable, InsertsTheCheckedColumnUnescaped) {
  put_entry_of("2020-01-01", "10:00:00");
  put_entry_of("2020-01-02", "10:00:00");
  EXPECT_EQ(annal_event_table_check_column("COUNT(*)"), 2);
  EXPECT_EQ(annal_event_table_check_column("41, event_id"), 41);
}

TEST_F(EventTable, RefusesToCheckANullColumnBeforeOpeningTheFile) {
  std::remove(kLog);
  EXPECT_EQ(annal_event_table_check_column(nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_TRUE(sqlite.calls().empty());
  EXPECT_FALSE(exists(kLog));
}

TEST_F(EventTable, ReportsAnUnreadableColumnAsMissing) {
  sql(kLog, "INSERT INTO ANNAL_EVENT DEFAULT VALUES;");
  sqlite.fail("step");
  EXPECT_EQ(annal_event_table_check_column("event_id"), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls().at(3), "finalize");
}

// ---- annal_event_table_add_column ----

TEST_F(EventTable, GetsATextColumn) {
  sql(kLog, "INSERT INTO ANNAL_EVENT DEFAULT VALUES;");
  EXPECT_EQ(annal_event_table_add_column("event_colour", 0, "7"), ANNAL_OK);
  EXPECT_EQ(sql(kLog, "SELECT type, dflt_value FROM pragma_table_info('ANNAL_EVENT') WHERE name = 'event_colour';"),
            Rows({{"TEXT", "'7'"}}));
  EXPECT_EQ(sql(kLog, "SELECT event_colour, typeof(event_colour) FROM ANNAL_EVENT;"), Rows({{"7", "text"}}));
}

TEST_F(EventTable, GetsAnIntegerColumn) {
  sql(kLog, "INSERT INTO ANNAL_EVENT DEFAULT VALUES;");
  EXPECT_EQ(annal_event_table_add_column("event_weight", 1, "7"), ANNAL_OK);
  EXPECT_EQ(sql(kLog, "SELECT type, dflt_value FROM pragma_table_info('ANNAL_EVENT') WHERE name = 'event_weight';"),
            Rows({{"INTEGER", "'7'"}}));
  EXPECT_EQ(sql(kLog, "SELECT event_weight, typeof(event_weight) FROM ANNAL_EVENT;"), Rows({{"7", "integer"}}));
}

TEST_F(EventTable, GetsAColumnWithAnEmptyDefault) {
  EXPECT_EQ(annal_event_table_add_column("event_colour", 0, ""), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), one_exec("ALTER TABLE ANNAL_EVENT ADD COLUMN event_colour TEXT DEFAULT ''", false));
}

TEST_F(EventTable, RefusesAnExistingColumn) {
  const std::string before = schema();
  EXPECT_EQ(annal_event_table_add_column("event_user", 0, "---"), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(annal_event_table_add_column("event_user", 1, "0"), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(schema(), before);
}

TEST_F(EventTable, InsertsANewColumnAndItsDefaultUnescaped) {
  EXPECT_EQ(annal_event_table_add_column("event_colour", 0, "it's"), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(annal_event_table_add_column("two words here,", 0, "x"), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(annal_event_table_add_column("event_colour", 0, "it''s"), ANNAL_OK);
  EXPECT_EQ(column_names().back(), "event_colour");
}

TEST_F(EventTable, RefusesABadColumnBeforeOpeningTheFile) {
  std::remove(kLog);
  EXPECT_EQ(annal_event_table_add_column(nullptr, 0, "x"), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(annal_event_table_add_column("event_colour", 0, nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(annal_event_table_add_column(nullptr, 1, nullptr), ANNAL_BAD_ARGUMENT);
  for (const int kind : {2, 3, -1, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(kind);
    EXPECT_EQ(annal_event_table_add_column("event_colour", kind, "x"), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_TRUE(sqlite.calls().empty());
  EXPECT_FALSE(exists(kLog));
}

// ---- annal_event_table_update_event_timet ----

constexpr const char* kAllColumns =
    "SELECT event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, event_msgid, "
    "event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id, event_client_app, "
    "event_client_agent FROM ANNAL_EVENT ORDER BY event_id;";

void put_full_entries() {
  sql(kLog,
      "INSERT INTO ANNAL_EVENT VALUES "
      "(4, 2, '2020-01-02', '10:00:00', 'ann', '10.0.0.1', 'one', 'Fan failed.', 'm1', 5, 'A1', 'App', 'C1', "
      "'Cat', 'id', 'app', 'agent'), "
      "(9, 0, '1970-01-01', '00:00:07', 'bob', '10.0.0.2', 'two', 'Fan back.', 'm2', 6, 'A2', 'App', 'C2', "
      "'Cat', 'id', 'app', 'agent');");
}

TEST_F(EventTable, RebuildsTheTimeStampsAndResetsUnlistedColumns) {
  put_full_entries();
  EXPECT_EQ(annal_event_table_update_event_timet(nullptr, "%s"), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), one_exec(kRebuildText, false));
  EXPECT_EQ(sql(kLog, kAllColumns), Rows({{"4", "2", "2020-01-02", "10:00:00", "ann", "10.0.0.1", "one", "Fan failed.",
                                           "m1", "1577959200", "NULL", "NULL", "NULL", "NULL", "---", "---", "---"},
                                          {"9", "0", "1970-01-01", "00:00:07", "bob", "10.0.0.2", "two", "Fan back.",
                                           "m2", "7", "NULL", "NULL", "NULL", "NULL", "---", "---", "---"}}));
}

TEST_F(EventTable, RebuildsTheTimeStampsInTheFormatOfItsCaller) {
  put_full_entries();
  EXPECT_EQ(annal_event_table_update_event_timet(nullptr, "%Y%H"), ANNAL_OK);
  EXPECT_EQ(sql(kLog, "SELECT event_timet FROM ANNAL_EVENT ORDER BY event_id;"), Rows({{"202010"}, {"197000"}}));
}

TEST_F(EventTable, DoesNotReadTheFirstArgumentOfARebuild) {
  const char unread = 'x';
  put_full_entries();
  EXPECT_EQ(annal_event_table_update_event_timet(&unread, "%s"), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), one_exec(kRebuildText, false));
}

TEST_F(EventTable, ClearsTheTimeStampOfAnEntryWithoutAValidDate) {
  sql(kLog, "INSERT INTO ANNAL_EVENT (event_date, event_time, event_timet) VALUES ('yesterday', '10:00:00', 5);");
  EXPECT_EQ(annal_event_table_update_event_timet(nullptr, "%s"), ANNAL_OK);
  EXPECT_EQ(value(kLog, "SELECT event_timet FROM ANNAL_EVENT;"), "NULL");
}

TEST_F(EventTable, InsertsARebuildsFormatUnescaped) {
  put_full_entries();
  const Rows before = sql(kLog, kAllColumns);
  EXPECT_EQ(annal_event_table_update_event_timet(nullptr, "it's"), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(sql(kLog, kAllColumns), before);
}

TEST_F(EventTable, RefusesARebuildWithoutAFormatBeforeOpeningTheFile) {
  std::remove(kLog);
  EXPECT_EQ(annal_event_table_update_event_timet("unused", nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_TRUE(sqlite.calls().empty());
  EXPECT_FALSE(exists(kLog));
}

// ---- annal_event_modify_tbl ----

constexpr const char* kFirstColumns[] = {
    "event_id", "event_type", "event_date", "event_time", "event_user", "event_ip", "event_comp", "event_desc",
};

struct AddedColumn {
  const char* name;
  const char* statement;
  const char* type;
  const char* default_text;
  const char* value_of_old_entries;
};

constexpr AddedColumn kAddedColumns[] = {
    {"event_msgid", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_msgid` TEXT DEFAULT '0';", "TEXT", "'0'", "0"},
    {"event_timet", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_timet` INTEGER DEFAULT 0;", "INTEGER", "0", "0"},
    {"event_app_id", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_app_id` TEXT DEFAULT '---';", "TEXT", "'---'", "---"},
    {"event_app_name", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_app_name` TEXT DEFAULT '---';", "TEXT", "'---'",
     "---"},
    {"event_category_id", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_category_id` TEXT DEFAULT '---';", "TEXT",
     "'---'", "---"},
    {"event_category", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_category` TEXT DEFAULT '---';", "TEXT", "'---'",
     "---"},
    {"event_client_id", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_client_id` TEXT DEFAULT '---';", "TEXT", "'---'",
     "---"},
    {"event_client_app", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_client_app` TEXT DEFAULT '---';", "TEXT", "'---'",
     "---"},
    {"event_client_agent", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_client_agent` TEXT DEFAULT '---';", "TEXT",
     "'---'", "---"},
};

Row all_columns() {
  Row names(std::begin(kFirstColumns), std::end(kFirstColumns));
  for (const AddedColumn& column : kAddedColumns) {
    names.emplace_back(column.name);
  }
  return names;
}

void make_table_of(const Row& columns) {
  std::string list;
  for (const std::string& column : columns) {
    list += (list.empty() ? "" : ", ") + column;
  }
  std::remove(kLog);
  sql(kLog, "CREATE TABLE ANNAL_EVENT (" + list + ");");
}

class OlderEventTable : public ApplianceTest {};

TEST_F(EventTable, StaysUnchangedIfCurrent) {
  const std::string before = schema();
  EXPECT_EQ(annal_event_modify_tbl(), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), Calls({"open /etc/logs/event.log", "busy_timeout 20000",
                                   "prepare PRAGMA TABLE_INFO(ANNAL_EVENT);", "finalize", "close"}));
  EXPECT_EQ(schema(), before);
}

TEST_F(OlderEventTable, GetsTheLastColumnsThatItLacks) {
  for (std::size_t lacking = 1; lacking <= std::size(kAddedColumns); ++lacking) {
    SCOPED_TRACE(lacking);
    Row columns = all_columns();
    columns.resize(columns.size() - lacking);
    make_table_of(columns);
    std::string text = "BEGIN TRANSACTION;";
    for (std::size_t i = std::size(kAddedColumns) - lacking; i < std::size(kAddedColumns); ++i) {
      text += kAddedColumns[i].statement;
    }
    sqlite.reset();
    EXPECT_EQ(annal_event_modify_tbl(), ANNAL_OK);
    EXPECT_EQ(sqlite.calls(),
              Calls({"open /etc/logs/event.log", "busy_timeout 20000", "prepare PRAGMA TABLE_INFO(ANNAL_EVENT);",
                     "exec " + text + "COMMIT;", "finalize", "close"}));
    EXPECT_EQ(column_names(), all_columns());
  }
}

TEST_F(OlderEventTable, GivesItsEntriesTheDefaultsOfAMigration) {
  make_table_of(Row(std::begin(kFirstColumns), std::end(kFirstColumns)));
  sql(kLog, "INSERT INTO ANNAL_EVENT VALUES (4, 2, '2020-01-02', '10:00:00', 'ann', '10.0.0.1', 'one', 'Fan');");
  EXPECT_EQ(annal_event_modify_tbl(), ANNAL_OK);

  Row entry = {"4", "2", "2020-01-02", "10:00:00", "ann", "10.0.0.1", "one", "Fan"};
  Rows types;
  for (const AddedColumn& column : kAddedColumns) {
    entry.emplace_back(column.value_of_old_entries);
    types.push_back({column.name, column.type, column.default_text});
  }
  EXPECT_EQ(sql(kLog, "SELECT * FROM ANNAL_EVENT;"), Rows({entry}));
  EXPECT_EQ(sql(kLog, "SELECT name, type, dflt_value FROM pragma_table_info('ANNAL_EVENT') WHERE cid >= 8;"), types);
  EXPECT_EQ(sql(kLog, "SELECT typeof(event_msgid), typeof(event_timet) FROM ANNAL_EVENT;"),
            Rows({{"text", "integer"}}));
}

TEST_F(OlderEventTable, FallsBackToTheDefaultsOfAMigrationInARebuild) {
  make_table_of({"event_id INTEGER PRIMARY KEY", "event_type", "event_date", "event_time", "event_user", "event_ip",
                 "event_comp", "event_desc"});
  sql(kLog, "INSERT INTO ANNAL_EVENT VALUES (4, 2, '1970-01-01', '00:01:00', 'ann', '10.0.0.1', 'one', 'Fan');");
  ASSERT_EQ(annal_event_modify_tbl(), ANNAL_OK);
  sql(kLog, "UPDATE ANNAL_EVENT SET event_app_id = 'A1', event_client_id = 'id';");
  EXPECT_EQ(annal_event_table_update_event_timet(nullptr, "%s"), ANNAL_OK);
  EXPECT_EQ(sql(kLog, "SELECT event_msgid, event_timet, event_app_id, event_client_id FROM ANNAL_EVENT;"),
            Rows({{"0", "60", "---", "---"}}));
}

TEST_F(OlderEventTable, RefusesATableThatIsNotAnOlderForm) {
  Row extra = all_columns();
  extra.emplace_back("event_extra");
  Row renamed = all_columns();
  renamed[2] = "event_day";
  Row renamed_and_shorter(renamed.begin(), renamed.begin() + 10);
  Row other_case = all_columns();
  other_case[16] = "Event_client_agent";
  Row too_short(std::begin(kFirstColumns), std::end(kFirstColumns) - 1);
  for (const Row& columns : {extra, renamed, renamed_and_shorter, other_case, too_short, Row{"event_id"}}) {
    SCOPED_TRACE(testing::PrintToString(columns));
    make_table_of(columns);
    EXPECT_EQ(annal_event_modify_tbl(), ANNAL_CHANGE_FAILED);
    EXPECT_EQ(column_names(), columns);
  }
}

TEST_F(OlderEventTable, KnowsEachOfItsColumnsByName) {
  for (std::size_t other = 0; other < all_columns().size(); ++other) {
    SCOPED_TRACE(other);
    Row columns = all_columns();
    columns[other] += "_";
    make_table_of(columns);
    EXPECT_EQ(annal_event_modify_tbl(), ANNAL_CHANGE_FAILED);
  }
}

TEST_F(OlderEventTable, StaysUnchangedIfTheStatementsFail) {
  const Row columns(std::begin(kFirstColumns), std::end(kFirstColumns));
  make_table_of(columns);
  sqlite.fail("exec");
  EXPECT_EQ(annal_event_modify_tbl(), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(column_names(), columns);
}

// ---- is_event_name_matching ----

class EventNameMatching : public ApplianceTest {
 protected:
  void TearDown() override {
    is_event_name_matching = 0;
    ApplianceTest::TearDown();
  }
};

TEST_F(EventNameMatching, IsOffAtFirst) {
  EXPECT_EQ(is_event_name_matching, 0);
}

TEST_F(EventNameMatching, IsSwitchedOnByAnyNonzeroValue) {
  for (const int on : {1, 7, -1, INT_MIN}) {
    SCOPED_TRACE(on);
    is_event_name_matching = 0;
    EXPECT_EQ(annal_event_enable_name_matching(on), &is_event_name_matching);
    EXPECT_EQ(is_event_name_matching, 1);
  }
}

TEST_F(EventNameMatching, IsSwitchedOffByZero) {
  is_event_name_matching = 5;
  EXPECT_EQ(annal_event_enable_name_matching(0), &is_event_name_matching);
  EXPECT_EQ(is_event_name_matching, 0);
}

TEST_F(EventNameMatching, TouchesNoFile) {
  annal_event_enable_name_matching(1);
  EXPECT_TRUE(sqlite.calls().empty());
}

// ---- InitAnnalEvent ----

class EventRecordInit : public ApplianceTest {};

TEST_F(EventRecordInit, ClearsOnlyTheFieldsOfTheFirstRelease) {
  EventRecord record;
  std::memset(static_cast<void*>(&record), 0xAA, sizeof record);
  std::string expected(sizeof record, '\xAA');
  const struct {
    std::size_t offset;
    std::size_t size;
  } cleared[] = {{offsetof(EventRecord, event_type), 4},    {offsetof(EventRecord, event_user), 64},
                 {offsetof(EventRecord, event_ip), 64},     {offsetof(EventRecord, event_comp), 64},
                 {offsetof(EventRecord, event_desc), 2048}, {offsetof(EventRecord, event_msgid), 64}};
  for (const auto& [offset, size] : cleared) {
    expected.replace(offset, size, size, '\0');
  }

  EXPECT_EQ(InitAnnalEvent(&record), record.event_desc);
  const std::string bytes(reinterpret_cast<const char*>(&record), sizeof record);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    ASSERT_EQ(bytes[i], expected[i]) << "at byte " << i;
  }
}

TEST_F(EventRecordInit, ReturnsNullForANullRecord) {
  EXPECT_EQ(InitAnnalEvent(nullptr), nullptr);
}

TEST_F(EventRecordInit, TouchesNoFile) {
  EventRecord record{};
  InitAnnalEvent(&record);
  EXPECT_TRUE(sqlite.calls().empty());
}

}  // namespace
}  // namespace annal::test
