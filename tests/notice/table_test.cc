// The notice log's table: its layout in the file, its maintenance and its result codes.
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdio>
#include <ctime>
#include <fstream>
#include <ostream>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/suites/log_operations.h"
#include "tests/support/from_library.h"
#include "tests/support/rights.h"

namespace annal::test {
namespace {

using namespace std::chrono_literals;

constexpr const char* kLog = "/etc/logs/notice.log";

// ---- the table as the file holds it ----

constexpr const char* kTable =
    "CREATE TABLE ANNAL_NOTICE \t( id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \tseverity INTEGER, \tserver INTEGER, "
    "\taction INTEGER, \tserviceName TEXT, \tfacility INTEGER, \ttime INTEGER, \tendtime INTEGER, \tuser TEXT, "
    "\tip TEXT, \tclient TEXT, \tdesc TEXT, \tmsgCode TEXT, \tvarNum INTEGER, \tvarContent TEXT, \tname TEXT, "
    "\tstatus INTEGER, \tuid INTEGER, \tgid INTEGER, \tlink_id TEXT, \tlink_option TEXT, \ttitle TEXT )";

constexpr const char* kIndexes[] = {
    "CREATE INDEX idx_severity on ANNAL_NOTICE(severity)",
    "CREATE INDEX idx_server on ANNAL_NOTICE(server)",
    "CREATE INDEX idx_action on ANNAL_NOTICE(action)",
    "CREATE INDEX idx_serviceName on ANNAL_NOTICE(serviceName)",
    "CREATE INDEX idx_facility on ANNAL_NOTICE(facility)",
    "CREATE INDEX idx_time on ANNAL_NOTICE(time)",
    "CREATE INDEX idx_endtime on ANNAL_NOTICE(endtime)",
    "CREATE INDEX idx_user on ANNAL_NOTICE(user)",
    "CREATE INDEX idx_ip on ANNAL_NOTICE(ip)",
    "CREATE INDEX idx_client on ANNAL_NOTICE(client)",
    "CREATE INDEX idx_msgCode on ANNAL_NOTICE(msgCode)",
    "CREATE INDEX idx_varNum on ANNAL_NOTICE(varNum)",
    "CREATE INDEX idx_name on ANNAL_NOTICE(name)",
    "CREATE INDEX idx_status on ANNAL_NOTICE(status)",
    "CREATE INDEX idx_uid on ANNAL_NOTICE(uid)",
    "CREATE INDEX idx_gid on ANNAL_NOTICE(gid)",
    "CREATE INDEX idx_link_id on ANNAL_NOTICE(link_id)",
    "CREATE INDEX idx_link_option on ANNAL_NOTICE(link_option)",
};

// Without its final semicolon, as the file stores it.
std::string trigger(int limit, int batch) {
  return "CREATE TRIGGER annal_notice_logfull AFTER INSERT \t\t\t\t\t\tON ANNAL_NOTICE WHEN " + std::to_string(limit) +
         " < (SELECT COUNT(*) FROM ANNAL_NOTICE) \t\t\t\t\t\tBEGIN \t\t\t\t\t\tDELETE FROM ANNAL_NOTICE WHERE id IN "
         "\t\t\t\t\t\t(SELECT id FROM ANNAL_NOTICE ORDER BY time LIMIT " +
         std::to_string(batch) + "); \t\t\t\t\t\tEND";
}

constexpr struct {
  const char* name;
  const char* type;
} kColumns[] = {
    {"id", "INTEGER"},       {"severity", "INTEGER"}, {"server", "INTEGER"},  {"action", "INTEGER"},
    {"serviceName", "TEXT"}, {"facility", "INTEGER"}, {"time", "INTEGER"},    {"endtime", "INTEGER"},
    {"user", "TEXT"},        {"ip", "TEXT"},          {"client", "TEXT"},     {"desc", "TEXT"},
    {"msgCode", "TEXT"},     {"varNum", "INTEGER"},   {"varContent", "TEXT"}, {"name", "TEXT"},
    {"status", "INTEGER"},   {"uid", "INTEGER"},      {"gid", "INTEGER"},     {"link_id", "TEXT"},
    {"link_option", "TEXT"}, {"title", "TEXT"},
};

// All but title: a table must have these to be kept.
constexpr std::size_t kRequired = std::size(kColumns) - 1;

// ---- helpers ----

std::string ids() {
  return value(kLog, "SELECT coalesce(group_concat(id), '') FROM (SELECT id FROM ANNAL_NOTICE ORDER BY id);");
}

Rows schema() {
  return sql(kLog, "SELECT type, name, tbl_name, sql FROM sqlite_master ORDER BY name;");
}

Rows content() {
  return annal::test::content(kLog, "ANNAL_NOTICE");
}

Rows triggers() {
  return sql(kLog, "SELECT name, sql FROM sqlite_master WHERE type = 'trigger';");
}

void put_notice() {
  sql(kLog, "INSERT INTO ANNAL_NOTICE DEFAULT VALUES;");
}

void put_notice_of(std::time_t time) {
  sql(kLog, "INSERT INTO ANNAL_NOTICE (time) VALUES (" + std::to_string(time) + ");");
}

Calls connection(const Calls& work, bool waits) {
  return annal::test::connection(kLog, work, waits);
}

Calls trigger_calls(int limit, int batch) {
  return connection({"exec " + trigger(limit, batch) + ";"}, true);
}

// The first connection of a creation; the trigger has another.
Calls table_calls() {
  Calls work = {"exec PRAGMA page_size = 2048;", std::string("exec ") + kTable + ";"};
  for (const char* index : kIndexes) {
    work.push_back(std::string("exec ") + index + ";");
  }
  return connection(work, true);
}

Calls creation_calls(int limit, int batch) {
  Calls calls = table_calls();
  append(calls, trigger_calls(limit, batch));
  return calls;
}

enum class Found { kYes, kNo };

Calls check_calls(const std::string& column, Found found) {
  Calls work = {"prepare SELECT " + column + " from ANNAL_NOTICE LIMIT 1;"};
  if (found == Found::kYes) {
    work.emplace_back("finalize");
  }
  return connection(work, true);
}

// Checks every required column; one may be missing.
Calls required_calls(const std::string& missing = "") {
  Calls calls;
  for (std::size_t i = 0; i < kRequired; ++i) {
    append(calls, check_calls(kColumns[i].name, kColumns[i].name == missing ? Found::kNo : Found::kYes));
  }
  return calls;
}

// A table with one notice that lacks some of the current columns.
void make_table_without(const std::vector<std::string>& missing) {
  std::string columns;
  for (const auto& [name, type] : kColumns) {
    if (std::find(missing.begin(), missing.end(), name) == missing.end()) {
      columns += std::string(columns.empty() ? "" : ", ") + name + " " + type;
    }
  }
  std::remove(kLog);
  sql(kLog, "CREATE TABLE ANNAL_NOTICE (" + columns + ");");
  put_notice();
}

// A log with an empty table.
class NoticeTable : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OK);
    sqlite.reset();
  }
};

// ---- what all operations of one statement have in common ----

constexpr TestedLog kTested{
    .path = kLog,
    .table = "ANNAL_NOTICE",
    .trigger = "annal_notice_logfull",
    .create = annal_notice_create_tbl,
    .entry = "INSERT INTO ANNAL_NOTICE (id, user, time) VALUES (7, 'ann', 1);",
};

int delete_number(unsigned selector, int number) {
  return annal_notice_del(selector, &number);
}

std::vector<Operation> operations() {
  return {
      {.name = "Remove",
       .call = [] { return annal_notice_remove_tbl(); },
       .work = {"exec DROP TABLE ANNAL_NOTICE;"},
       .waits = false,
       .builds_text = false,
       .failure = ANNAL_TABLE_FAILED},
      {.name = "Flush",
       .call = [] { return annal_notice_flush_tbl(); },
       .work = {"exec DELETE FROM ANNAL_NOTICE;"},
       .waits = true,
       .builds_text = false,
       .failure = ANNAL_EMPTY_FAILED},
      {.name = "AddTrigger",
       .call = [] { return annal_notice_add_trigger_logfull(50, 5); },
       .work = {"exec " + trigger(50, 5) + ";"},
       .waits = true,
       .builds_text = true,
       .failure = ANNAL_TRIGGER_FAILED},
      {.name = "RemoveTrigger",
       .call = [] { return annal_notice_remove_trigger_logfull(); },
       .work = {"exec DROP TRIGGER annal_notice_logfull;"},
       .waits = true,
       .builds_text = false,
       .failure = ANNAL_REMOVE_TRIGGER_FAILED},
      {.name = "DeleteByNumber",
       .call = [] { return delete_number(0, 7); },
       .work = {"exec DELETE FROM ANNAL_NOTICE WHERE id = 7;"},
       .waits = false,
       .builds_text = true,
       .failure = ANNAL_CHANGE_FAILED},
      {.name = "DeleteByText",
       .call = [] { return annal_notice_del(8, "ann"); },
       .work = {"exec DELETE FROM ANNAL_NOTICE WHERE user = 'ann';"},
       .waits = false,
       .builds_text = true,
       .failure = ANNAL_CHANGE_FAILED},
      {.name = "DeleteOlder",
       .call = [] { return AnnalNoticeDellogByClientTime(30); },
       .work = {"exec DELETE FROM ANNAL_NOTICE WHERE time < (strftime('%s','now')-30*86400);"},
       .waits = false,
       .builds_text = true,
       .failure = ANNAL_CHANGE_FAILED},
      {.name = "CheckColumn",
       .call = [] { return annal_notice_table_check_column("id"); },
       .work = {"prepare SELECT id from ANNAL_NOTICE LIMIT 1;", "finalize"},
       .waits = true,
       .builds_text = true,
       .failure = ANNAL_QUERY_FAILED,
       .success = 7},
      {.name = "AddTextColumn",
       .call = [] { return annal_notice_table_add_column("extra", 0, "x"); },
       .work = {"exec ALTER TABLE ANNAL_NOTICE ADD COLUMN extra TEXT DEFAULT 'x'"},
       .waits = false,
       .builds_text = true,
       .failure = ANNAL_CHANGE_FAILED},
      {.name = "AddIntegerColumn",
       .call = [] { return annal_notice_table_add_column("extra", 1, "5"); },
       .work = {"exec ALTER TABLE ANNAL_NOTICE ADD COLUMN extra INTEGER DEFAULT '5'"},
       .waits = false,
       .builds_text = true,
       .failure = ANNAL_CHANGE_FAILED},
  };
}

INSTANTIATE_TEST_SUITE_P(NoticeTable, EveryOperation, testing::ValuesIn(tested(kTested, operations(), Which::kAll)),
                         &name_of);
INSTANTIATE_TEST_SUITE_P(NoticeTable, EveryBuiltOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kBuildText)), &name_of);
INSTANTIATE_TEST_SUITE_P(NoticeTable, EveryWaitingOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kWait)), &name_of);
INSTANTIATE_TEST_SUITE_P(NoticeTable, EveryNonwaitingOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kDoNotWait)), &name_of);

// ---- annal_notice_create_tbl ----

class NoticeTableCreation : public ApplianceTest {};

TEST_F(NoticeTableCreation, RunsEachStatementOnItsOwnAndThenTheTriggers) {
  EXPECT_EQ(annal_notice_create_tbl(3, 2), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), creation_calls(3, 2));
}

TEST_F(NoticeTableCreation, LeavesTheTableInTheFileWordForWord) {
  annal_notice_create_tbl(3, 2);
  EXPECT_EQ(sql(kLog,
                "SELECT name, tbl_name, sql FROM sqlite_master WHERE type = 'table' AND name <> "
                "'sqlite_sequence';"),
            Rows({{"ANNAL_NOTICE", "ANNAL_NOTICE", kTable}}));
}

TEST_F(NoticeTableCreation, LeavesTheIndexesInTheFileWordForWord) {
  annal_notice_create_tbl(3, 2);
  Rows expected;
  for (const char* index : kIndexes) {
    expected.push_back({index});
  }
  EXPECT_EQ(sql(kLog, "SELECT sql FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL ORDER BY rowid;"),
            expected);
}

TEST_F(NoticeTableCreation, LeavesTheTriggerInTheFileWordForWord) {
  annal_notice_create_tbl(3, 2);
  EXPECT_EQ(triggers(), Rows({{"annal_notice_logfull", trigger(3, 2)}}));
}

TEST_F(NoticeTableCreation, MakesPagesOf2048Bytes) {
  annal_notice_create_tbl(0, 0);
  EXPECT_EQ(value(kLog, "PRAGMA page_size;"), "2048");
}

TEST_F(NoticeTableCreation, MakesTwentyTwoColumnsWithoutDefaults) {
  annal_notice_create_tbl(0, 0);
  Rows expected;
  for (const auto& [name, type] : kColumns) {
    expected.push_back({name, type, "NULL", expected.empty() ? "1" : "0"});
  }
  EXPECT_EQ(expected.size(), 22U);
  EXPECT_EQ(sql(kLog, "SELECT name, type, dflt_value, pk FROM pragma_table_info('ANNAL_NOTICE');"), expected);
}

TEST_F(NoticeTableCreation, NeverReusesANoticeNumber) {
  annal_notice_create_tbl(0, 0);
  put_notice();
  put_notice();
  ASSERT_EQ(annal_notice_flush_tbl(), ANNAL_OK);
  put_notice();
  EXPECT_EQ(ids(), "3");
}

TEST_F(NoticeTableCreation, FailsIfTheTableExists) {
  ASSERT_EQ(annal_notice_create_tbl(3, 2), ANNAL_OK);
  put_notice();
  const Rows before = content();
  sqlite.reset();
  EXPECT_EQ(annal_notice_create_tbl(5, 4), ANNAL_TABLE_FAILED);
  EXPECT_EQ(sqlite.calls(), table_calls());
  EXPECT_EQ(content(), before);
}

TEST_F(NoticeTableCreation, AddsMissingIndexesToAnExistingTable) {
  ASSERT_EQ(annal_notice_create_tbl(3, 2), ANNAL_OK);
  const Rows before = schema();
  sql(kLog, "DROP INDEX idx_severity; DROP INDEX idx_link_option;");
  EXPECT_EQ(annal_notice_create_tbl(5, 4), ANNAL_TABLE_FAILED);
  EXPECT_EQ(schema(), before);
}

TEST_F(NoticeTableCreation, AddsNoTriggerToAnExistingTable) {
  ASSERT_EQ(annal_notice_create_tbl(3, 2), ANNAL_OK);
  ASSERT_EQ(annal_notice_remove_trigger_logfull(), ANNAL_OK);
  EXPECT_EQ(annal_notice_create_tbl(3, 2), ANNAL_TABLE_FAILED);
  EXPECT_EQ(triggers(), Rows());
}

TEST_F(NoticeTableCreation, SucceedsWithoutThePageSize) {
  sqlite.fail("exec");
  EXPECT_EQ(annal_notice_create_tbl(3, 2), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), creation_calls(3, 2));
  EXPECT_NE(value(kLog, "PRAGMA page_size;"), "2048");
}

TEST_F(NoticeTableCreation, SucceedsIfAnyIndexFails) {
  constexpr int kBeforeTheFirst = 2;
  for (std::size_t failing = 0; failing < std::size(kIndexes); ++failing) {
    SCOPED_TRACE(kIndexes[failing]);
    std::remove(kLog);
    sqlite.reset();
    sqlite.fail("exec", kBeforeTheFirst + static_cast<int>(failing) + 1);
    EXPECT_EQ(annal_notice_create_tbl(3, 2), ANNAL_OK);
    EXPECT_EQ(sqlite.calls(), creation_calls(3, 2));
    Rows expected;
    for (std::size_t i = 0; i < std::size(kIndexes); ++i) {
      if (i != failing) {
        expected.push_back({kIndexes[i]});
      }
    }
    EXPECT_EQ(sql(kLog, "SELECT sql FROM sqlite_master WHERE type = 'index' AND sql IS NOT NULL ORDER BY rowid;"),
              expected);
  }
}

TEST_F(NoticeTableCreation, RunsTheIndexesAndNoTriggerWhenTheTableFails) {
  sqlite.fail("exec", 2);
  EXPECT_EQ(annal_notice_create_tbl(3, 2), ANNAL_TABLE_FAILED);
  EXPECT_EQ(sqlite.calls(), table_calls());
}

TEST_F(NoticeTableCreation, FailsOnANonDatabaseFile) {
  put_garbage(kLog);
  EXPECT_EQ(annal_notice_create_tbl(0, 0), ANNAL_TABLE_FAILED);
  EXPECT_EQ(sqlite.calls(), table_calls());
}

TEST_F(NoticeTableCreation, FailsWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OPEN_FAILED);
}

TEST_F(NoticeTableCreation, ClosesTheHandleOfAFailedOpen) {
  sqlite.fail("open");
  EXPECT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OPEN_FAILED);
  EXPECT_EQ(sqlite.calls(), connection({}, false));
}

TEST_F(NoticeTableCreation, LeavesTheTableWhenTheTriggerFails) {
  const struct {
    const char* function;
    int nth;
    int answer;
  } failures[] = {
      {"exec", static_cast<int>(std::size(kIndexes)) + 3, ANNAL_TRIGGER_FAILED},
      {"open", 2, ANNAL_OPEN_FAILED},
      {"mprintf", 1, ANNAL_NO_MEMORY},
  };
  for (const auto& [function, nth, answer] : failures) {
    SCOPED_TRACE(function);
    std::remove(kLog);
    sqlite.reset();
    sqlite.fail(function, nth);
    EXPECT_EQ(annal_notice_create_tbl(0, 0), answer);
    EXPECT_EQ(ids(), "");
    EXPECT_EQ(triggers(), Rows());
  }
}

TEST_F(NoticeTableCreation, WaitsForALock) {
  const LockHolder lock(kLog, 200ms);
  EXPECT_EQ(annal_notice_create_tbl(0, 0), ANNAL_OK);
}

// ---- the log-full trigger ----

struct Limits {
  int limit;
  int batch;
  int used_limit;
  int used_batch;
};

constexpr Limits kLimits[] = {
    {3, 2, 3, 2},         {1, 1, 1, 1},
    {0, 0, 10000, 1},     {-5, 3, 10000, 3},
    {5, -1, 5, 1},        {INT_MIN, INT_MIN, 10000, 1},
    {10001, 7, 10001, 7}, {INT_MAX, INT_MAX, INT_MAX, INT_MAX},
};

TEST_F(NoticeTableCreation, GivesTheTriggerItsLimits) {
  for (const Limits& limits : kLimits) {
    SCOPED_TRACE(trigger(limits.limit, limits.batch));
    std::remove(kLog);
    sqlite.reset();
    EXPECT_EQ(annal_notice_create_tbl(limits.limit, limits.batch), ANNAL_OK);
    EXPECT_EQ(sqlite.calls(), creation_calls(limits.used_limit, limits.used_batch));
  }
}

TEST_F(NoticeTable, GivesALaterTriggerItsLimits) {
  for (const Limits& limits : kLimits) {
    SCOPED_TRACE(trigger(limits.limit, limits.batch));
    ASSERT_EQ(annal_notice_remove_trigger_logfull(), ANNAL_OK);
    EXPECT_EQ(annal_notice_add_trigger_logfull(limits.limit, limits.batch), ANNAL_OK);
    EXPECT_EQ(triggers(), Rows({{"annal_notice_logfull", trigger(limits.used_limit, limits.used_batch)}}));
  }
}

TEST_F(NoticeTable, RefusesASecondTrigger) {
  EXPECT_EQ(annal_notice_add_trigger_logfull(3, 2), ANNAL_TRIGGER_FAILED);
  EXPECT_EQ(triggers(), Rows({{"annal_notice_logfull", trigger(10000, 1)}}));
}

TEST_F(NoticeTable, DropsItsTriggerOnce) {
  EXPECT_EQ(annal_notice_remove_trigger_logfull(), ANNAL_OK);
  EXPECT_EQ(triggers(), Rows());
  EXPECT_EQ(annal_notice_remove_trigger_logfull(), ANNAL_REMOVE_TRIGGER_FAILED);
}

// The remaining notices of a log with a limit of 3 and a batch of 2 after storing notices with these times.
struct FullLogCase {
  std::vector<std::time_t> times;
  const char* left;
};

TEST_F(NoticeTableCreation, DropsTheOldestNoticesByTime) {
  const FullLogCase fillings[] = {
      {{10, 20, 30}, "1,2,3"},           {{10, 20, 30, 40}, "3,4"}, {{10, 20, 30, 40, 50}, "3,4,5"},
      {{10, 20, 30, 40, 50, 60}, "5,6"}, {{40, 10, 30, 20}, "1,3"}, {{40, 30, 20, 10}, "1,2"},
      {{900, 1000, 10, 2000}, "2,4"},
  };
  for (const auto& [times, left] : fillings) {
    SCOPED_TRACE(testing::PrintToString(times));
    std::remove(kLog);
    ASSERT_EQ(annal_notice_create_tbl(3, 2), ANNAL_OK);
    for (const std::time_t time : times) {
      put_notice_of(time);
    }
    EXPECT_EQ(ids(), left);
  }
}

TEST_F(NoticeTableCreation, DropsNothingOnceItsTriggerIsRemoved) {
  ASSERT_EQ(annal_notice_create_tbl(2, 1), ANNAL_OK);
  ASSERT_EQ(annal_notice_remove_trigger_logfull(), ANNAL_OK);
  for (const std::time_t time : {10, 20, 30}) {
    put_notice_of(time);
  }
  EXPECT_EQ(ids(), "1,2,3");
}

TEST_F(NoticeTable, Holds10000NoticesWithoutALimit) {
  sql(kLog,
      "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < 10000) "
      "INSERT INTO ANNAL_NOTICE (id, time) SELECT i, i FROM n;");
  EXPECT_EQ(sql(kLog, "SELECT COUNT(*), MIN(id) FROM ANNAL_NOTICE;"), Rows({{"10000", "1"}}));
  put_notice_of(10001);
  EXPECT_EQ(sql(kLog, "SELECT COUNT(*), MIN(id) FROM ANNAL_NOTICE;"), Rows({{"10000", "2"}}));
}

// ---- annal_notice_flush_tbl, annal_notice_remove_tbl ----

TEST_F(NoticeTable, IsEmptiedAndKept) {
  put_notice();
  put_notice();
  const Rows before = schema();
  EXPECT_EQ(annal_notice_flush_tbl(), ANNAL_OK);
  EXPECT_EQ(ids(), "");
  EXPECT_EQ(schema(), before);
  EXPECT_EQ(annal_notice_flush_tbl(), ANNAL_OK);
}

TEST_F(NoticeTable, IsRemovedWithItsIndexesAndItsTrigger) {
  put_notice();
  EXPECT_EQ(annal_notice_remove_tbl(), ANNAL_OK);
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM sqlite_master WHERE name <> 'sqlite_sequence';"), "0");
  EXPECT_EQ(annal_notice_remove_tbl(), ANNAL_TABLE_FAILED);
}

TEST_F(NoticeTable, CanBeRecreatedAfterItsRemoval) {
  put_notice();
  ASSERT_EQ(annal_notice_remove_tbl(), ANNAL_OK);
  EXPECT_EQ(annal_notice_create_tbl(3, 2), ANNAL_OK);
  EXPECT_EQ(ids(), "");
  EXPECT_EQ(triggers(), Rows({{"annal_notice_logfull", trigger(3, 2)}}));
}

// ---- annal_notice_del ----

// The caller's value in the statement.
enum class ValueKind { kNumber, kText, kExpression };

struct Selection {
  const char* column;
  unsigned selector;
  ValueKind taken;
  const char* matching;      // a value that notices 101 and 103 have and 102 has not
  const char* left = "102";  // the notices left after deleting that value
  int answer = ANNAL_OK;

  [[nodiscard]] std::string statement_for(const std::string& value_in_it) const {
    const char* const quote = taken == ValueKind::kText ? "'" : "";
    return std::string("DELETE FROM ANNAL_NOTICE WHERE ") + column + " = " + quote + value_in_it + quote + ";";
  }

  [[nodiscard]] int delete_by(const char* given) const {
    return taken == ValueKind::kNumber ? delete_number(selector, std::stoi(given)) : annal_notice_del(selector, given);
  }
};

void PrintTo(const Selection& selection, std::ostream* out) {
  *out << selection.column;
}

constexpr const char* kAll = "101,102,103";

constexpr Selection kSelections[] = {
    {"id", 0, ValueKind::kNumber, "101", "102,103"},
    {"severity", 1, ValueKind::kNumber, "3"},
    {"server", 2, ValueKind::kNumber, "11"},
    {"action", 3, ValueKind::kNumber, "12"},
    {"serviceName", 4, ValueKind::kText, "Disk"},
    {"facility", 5, ValueKind::kNumber, "17"},
    {"time", 6, ValueKind::kText, "1600000000"},
    {"endtime", 7, ValueKind::kNumber, "1600000005"},
    {"user", 8, ValueKind::kText, "ann"},
    {"ip", 9, ValueKind::kText, "10.0.0.1"},
    {"clisant", 10, ValueKind::kText, "one", kAll, ANNAL_CHANGE_FAILED},
    {"desc", 11, ValueKind::kText, "Fan failed."},
    {"msgCode", 12, ValueKind::kText, "m1"},
    {"varNum", 13, ValueKind::kNumber, "2"},
    {"varContent", 14, ValueKind::kText, "a,b"},
    {"name", 15, ValueKind::kText, "Fan"},
    {"status", 16, ValueKind::kNumber, "21"},
    {"uid", 17, ValueKind::kNumber, "-1"},
    {"gid", 18, ValueKind::kNumber, "100"},
    {"link_id", 19, ValueKind::kExpression, "5"},
    {"link_option", 20, ValueKind::kExpression, "8"},
    {"title", 21, ValueKind::kExpression, "44"},
};

std::vector<Selection> selections_that(bool (*fit)(const Selection&)) {
  std::vector<Selection> selections(std::begin(kSelections), std::end(kSelections));
  std::erase_if(selections, [fit](const Selection& selection) { return !fit(selection); });
  return selections;
}

std::string name_of_selection(const testing::TestParamInfo<Selection>& tested) {
  return tested.param.column;
}

// Notices 101 and 103 differ only in their numbers; 102 has only near misses.
class DeletionBy : public NoticeTable, public testing::WithParamInterface<Selection> {
 protected:
  void SetUp() override {
    NoticeTable::SetUp();
    sql(kLog,
        "INSERT INTO ANNAL_NOTICE VALUES "
        "(101, 3, 11, 12, 'Disk', 17, 1600000000, 1600000005, 'ann', '10.0.0.1', 'one', 'Fan failed.', 'm1', 2, 'a,b', "
        "'Fan', 21, -1, 100, '5', '8', '44'), "
        "(102, 4, 1, 2, 'Disks', 7, 1600000001, 1600000000, 'anna', '10.0.0.11', 'ones', 'Fan failed', 'm11', 3, 'a,', "
        "'fan', 2, 1, 10, '55', '88', '4'), "
        "(103, 3, 11, 12, 'Disk', 17, 1600000000, 1600000005, 'ann', '10.0.0.1', 'one', 'Fan failed.', 'm1', 2, 'a,b', "
        "'Fan', 21, -1, 100, '5', '8', '44');");
  }

  static void set_in_102(const std::string& expression) {
    sql(kLog, std::string("UPDATE ANNAL_NOTICE SET ") + GetParam().column + " = " + expression + " WHERE id = 102;");
  }
};
class DeletionByNumber : public DeletionBy {};
class DeletionByText : public DeletionBy {};
class DeletionByExpression : public DeletionBy {};

INSTANTIATE_TEST_SUITE_P(NoticeTable, DeletionBy, testing::ValuesIn(kSelections), &name_of_selection);
INSTANTIATE_TEST_SUITE_P(NoticeTable, DeletionByNumber, testing::ValuesIn(selections_that([](const Selection& one) {
                           return one.taken == ValueKind::kNumber;
                         })),
                         &name_of_selection);
INSTANTIATE_TEST_SUITE_P(NoticeTable, DeletionByText, testing::ValuesIn(selections_that([](const Selection& one) {
                           return one.taken == ValueKind::kText && one.answer == ANNAL_OK;
                         })),
                         &name_of_selection);
INSTANTIATE_TEST_SUITE_P(NoticeTable, DeletionByExpression, testing::ValuesIn(selections_that([](const Selection& one) {
                           return one.taken == ValueKind::kExpression;
                         })),
                         &name_of_selection);

TEST_P(DeletionBy, RunsExactlyItsStatementWithoutABusyTimeout) {
  EXPECT_EQ(GetParam().delete_by(GetParam().matching), GetParam().answer);
  EXPECT_EQ(sqlite.calls(), connection({"exec " + GetParam().statement_for(GetParam().matching)}, false));
}

TEST_P(DeletionBy, TakesTheMatchingNoticesOnly) {
  EXPECT_EQ(GetParam().delete_by(GetParam().matching), GetParam().answer);
  EXPECT_EQ(ids(), GetParam().left);
}

TEST_P(DeletionBy, TakesNothingWhenNothingMatches) {
  EXPECT_EQ(GetParam().delete_by("-77"), GetParam().answer);
  EXPECT_EQ(ids(), kAll);
}

TEST_P(DeletionBy, RefusesANullValueBeforeOpeningTheFile) {
  std::remove(kLog);
  EXPECT_EQ(annal_notice_del(GetParam().selector, nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(kLog));
}

TEST_P(DeletionByNumber, ReadsTheWholeIntAndNothingAfterIt) {
  for (const int number : {INT_MIN, INT_MAX, -1, 0, 0x01020304}) {
    SCOPED_TRACE(number);
    const int numbers[] = {number, 12345};
    EXPECT_EQ(annal_notice_del(GetParam().selector, numbers), ANNAL_OK);
    EXPECT_EQ(sqlite.statements().back(), GetParam().statement_for(std::to_string(number)));
  }
}

TEST_P(DeletionByText, EscapesQuotes) {
  set_in_102("'it''s ''it'''");
  EXPECT_EQ(GetParam().delete_by("it's 'it'"), ANNAL_OK);
  EXPECT_EQ(sqlite.statements().back(), GetParam().statement_for("it''s ''it''"));
  EXPECT_EQ(ids(), "101,103");
}

TEST_P(DeletionByText, TakesNoSqlInTheText) {
  EXPECT_EQ(GetParam().delete_by("' OR '1' = '1"), ANNAL_OK);
  EXPECT_EQ(ids(), kAll);
}

TEST_P(DeletionByText, TakesTextsOfAnyLengthAndWithPercentSigns) {
  const std::string text = "100%s %d %q " + std::string(5000, 'x');
  set_in_102("'" + text + "'");
  EXPECT_EQ(GetParam().delete_by(text.c_str()), ANNAL_OK);
  EXPECT_EQ(ids(), "101,103");
}

TEST_P(DeletionByText, TakesTheEmptyText) {
  set_in_102("''");
  EXPECT_EQ(GetParam().delete_by(""), ANNAL_OK);
  EXPECT_EQ(ids(), "101,103");
}

TEST_P(DeletionByExpression, ReadsAWordAsAColumn) {
  set_in_102("'102'");
  EXPECT_EQ(GetParam().delete_by("id"), ANNAL_OK);
  EXPECT_EQ(sqlite.statements().back(), GetParam().statement_for("id"));
  EXPECT_EQ(ids(), "101,103");
}

TEST_P(DeletionByExpression, ReadsWhateverSqliteReads) {
  EXPECT_EQ(GetParam().delete_by("NULL"), ANNAL_OK);
  EXPECT_EQ(ids(), kAll);
  EXPECT_EQ(GetParam().delete_by("0 OR id = 102"), ANNAL_OK);
  EXPECT_EQ(ids(), "101,103");
}

TEST_P(DeletionByExpression, FailsOnWhateverSqliteCannotRead) {
  for (const char* text : {"nonsense", "two words", "", "10.0.0.1"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(GetParam().delete_by(text), ANNAL_CHANGE_FAILED);
    EXPECT_EQ(sqlite.statements().back(), GetParam().statement_for(text));
  }
  EXPECT_EQ(ids(), kAll);
}

TEST_P(DeletionByExpression, FailsOnATextInQuotesBecauseThoseAreEscaped) {
  set_in_102("'x'");
  EXPECT_EQ(GetParam().delete_by("'x'"), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(sqlite.statements().back(), GetParam().statement_for("''x''"));
  EXPECT_EQ(ids(), kAll);
}

// SQLite compares an INTEGER column with a numeric text as numbers.
TEST_F(NoticeTable, DeletesByATimeInAnyNumberFormat) {
  for (const char* text : {"1600000000", "1600000000.0", "1.6e9", "+1600000000", " 1600000000 "}) {
    SCOPED_TRACE(text);
    put_notice_of(1600000000);
    EXPECT_EQ(annal_notice_del(6, text), ANNAL_OK);
    EXPECT_EQ(ids(), "");
  }
  put_notice_of(1600000000);
  const std::string only = ids();
  for (const char* text : {"1600000001", "1600000000.5", "2020-09-13 12:26:40", "1600000000 s", "0x5f5e1000", ""}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(annal_notice_del(6, text), ANNAL_OK);
    EXPECT_EQ(ids(), only);
  }
}

TEST_F(NoticeTable, AlwaysFailsToDeleteByClient) {
  sql(kLog, "INSERT INTO ANNAL_NOTICE (client) VALUES ('one');");
  const std::string only = ids();
  for (const char* text : {"one", "", "1", "it's"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(annal_notice_del(10, text), ANNAL_CHANGE_FAILED);
  }
  EXPECT_EQ(sqlite.statements().back(), "DELETE FROM ANNAL_NOTICE WHERE clisant = 'it''s';");
  EXPECT_EQ(ids(), only);
}

TEST_F(NoticeTable, RefusesSelectorAbove21BeforeOpeningTheFile) {
  std::remove(kLog);
  for (const unsigned selector : {22U, 23U, 0x80000000U, UINT_MAX}) {
    SCOPED_TRACE(selector);
    EXPECT_EQ(annal_notice_del(selector, "1234"), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(annal_notice_del(selector, nullptr), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(kLog));
}

// ---- AnnalNoticeDellogByClientTime ----

TEST_F(NoticeTable, DeletesByAgeWithOneStatement) {
  for (const int days : {1, 30, INT_MAX}) {
    SCOPED_TRACE(days);
    sqlite.reset();
    EXPECT_EQ(AnnalNoticeDellogByClientTime(days), ANNAL_OK);
    EXPECT_EQ(sqlite.calls(), connection({"exec DELETE FROM ANNAL_NOTICE WHERE time < (strftime('%s','now')-" +
                                          std::to_string(days) + "*86400);"},
                                         false));
  }
}

TEST_F(NoticeTable, DeletesNoticesOlderThanNDays) {
  constexpr std::time_t kDay = 86400;
  constexpr std::time_t kMinute = 60;  // longer than the test
  const std::time_t now = std::time(nullptr);
  put_notice_of(now + kDay);
  put_notice_of(now);
  put_notice_of(now - kDay + kMinute);
  put_notice_of(now - kDay - 1);
  put_notice_of(now - 2 * kDay + kMinute);
  put_notice_of(now - 2 * kDay - 1);
  put_notice_of(0);
  put_notice();  // of no time
  EXPECT_EQ(AnnalNoticeDellogByClientTime(3), ANNAL_OK);
  EXPECT_EQ(ids(), "1,2,3,4,5,6,8");
  EXPECT_EQ(AnnalNoticeDellogByClientTime(2), ANNAL_OK);
  EXPECT_EQ(ids(), "1,2,3,4,5,8");
  EXPECT_EQ(AnnalNoticeDellogByClientTime(1), ANNAL_OK);
  EXPECT_EQ(ids(), "1,2,3,8");
}

TEST_F(NoticeTable, AcceptsTheMaximumDaysWithoutOverflow) {
  constexpr std::time_t kBeforeThat = -200'000'000'000'000;
  constexpr std::time_t kAfterThat = -180'000'000'000'000;
  put_notice_of(kBeforeThat);
  put_notice_of(kAfterThat);
  put_notice_of(1);
  EXPECT_EQ(AnnalNoticeDellogByClientTime(INT_MAX), ANNAL_OK);
  EXPECT_EQ(ids(), "2,3");
}

TEST_F(NoticeTable, RefusesLessThanADayBeforeOpeningTheFile) {
  std::remove(kLog);
  for (const int days : {0, -1, INT_MIN}) {
    SCOPED_TRACE(days);
    EXPECT_EQ(AnnalNoticeDellogByClientTime(days), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(kLog));
}

// ---- annal_notice_table_check_column ----

TEST_F(NoticeTable, ReportsEveryColumnMissingIfEmpty) {
  EXPECT_EQ(annal_notice_table_check_column("uid"), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls(), check_calls("uid", Found::kYes));
}

TEST_F(NoticeTable, ReportsAnUnknownColumnMissing) {
  put_notice();
  EXPECT_EQ(annal_notice_table_check_column("colour"), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls(), check_calls("colour", Found::kNo));
}

TEST_F(NoticeTable, ReturnsAColumnsIntegerEvenIfNegative) {
  const struct {
    const char* stored;
    int answer;
  } values[] = {
      {"0", 0},    {"1", 1},        {"2147483647", INT_MAX},  {"-1", -1},     {"-5", -5}, {"-24", -24},
      {"NULL", 0}, {"'System'", 0}, {"-2147483648", INT_MIN}, {"'-3 x'", -3}, {"7.9", 7},
  };
  put_notice();
  for (const auto& [stored, answer] : values) {
    SCOPED_TRACE(stored);
    sql(kLog, std::string("UPDATE ANNAL_NOTICE SET uid = ") + stored + ";");
    EXPECT_EQ(annal_notice_table_check_column("uid"), answer);
  }
}

TEST_F(NoticeTable, ReturnsAColumnsValueInItsFirstNotice) {
  sql(kLog, "INSERT INTO ANNAL_NOTICE (id, uid) VALUES (9, 90), (5, 50), (7, 70);");
  EXPECT_EQ(annal_notice_table_check_column("id, uid"), 5);
  EXPECT_EQ(annal_notice_table_check_column("uid, id"), 50);
}

TEST_F(NoticeTable, InsertsTheCheckedColumnUnescaped) {
  put_notice();
  put_notice();
  EXPECT_EQ(annal_notice_table_check_column("COUNT(*)"), 2);
  EXPECT_EQ(annal_notice_table_check_column("'it'"), 0);
  EXPECT_EQ(annal_notice_table_check_column("it's"), ANNAL_QUERY_FAILED);
}

TEST_F(NoticeTable, RefusesToCheckANullColumnBeforeOpeningTheFile) {
  std::remove(kLog);
  EXPECT_EQ(annal_notice_table_check_column(nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(kLog));
}

TEST_F(NoticeTable, ReportsAnUnreadableColumnAsMissing) {
  put_notice();
  sqlite.fail("step");
  EXPECT_EQ(annal_notice_table_check_column("id"), ANNAL_QUERY_FAILED);
  EXPECT_EQ(sqlite.calls(), check_calls("id", Found::kYes));
}

// ---- isAllColumnExist ----

TEST_F(NoticeTable, ReportsNoColumnMissingWithANotice) {
  put_notice();
  EXPECT_EQ(isAllColumnExist(), 0);
  EXPECT_EQ(sqlite.calls(), required_calls());
}

TEST_F(NoticeTable, Reports21ColumnsMissingIfEmpty) {
  EXPECT_EQ(isAllColumnExist(), 21);
  EXPECT_EQ(sqlite.calls(), required_calls());
}

TEST_F(NoticeTable, CountsMissingColumnsButNotOtherFailures) {
  for (const char* function : {"open", "mprintf"}) {
    SCOPED_TRACE(function);
    sqlite.fail(function, 5);
    EXPECT_EQ(isAllColumnExist(), 20);
  }
  put_notice();
  for (const char* function : {"prepare", "step"}) {
    SCOPED_TRACE(function);
    sqlite.fail(function, 5);
    EXPECT_EQ(isAllColumnExist(), 1);
  }
}

TEST_F(NoticeTable, ReportsNoColumnMissingWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(isAllColumnExist(), 0);
}

// A value cannot be distinguished from a result code.
TEST_F(NoticeTable, CountsAStoredMinus24AsAMissingColumn) {
  put_notice();
  sql(kLog, "UPDATE ANNAL_NOTICE SET uid = -24, gid = -20, status = -11, title = '-24';");
  EXPECT_EQ(isAllColumnExist(), 1);
}

TEST_F(NoticeTable, WaitsForALockToCountItsColumns) {
  put_notice();
  const LockHolder lock(kLog, 200ms);
  EXPECT_EQ(isAllColumnExist(), 0);
}

class OlderNoticeTable : public ApplianceTest {};

TEST_F(OlderNoticeTable, ReportsEachMissingColumnExceptTitle) {
  for (const auto& [name, type] : kColumns) {
    SCOPED_TRACE(name);
    make_table_without({name});
    EXPECT_EQ(isAllColumnExist(), std::string(name) == "title" ? 0 : 1);
  }
}

TEST_F(OlderNoticeTable, CountsItsMissingColumns) {
  make_table_without({"id", "desc", "link_option"});
  EXPECT_EQ(isAllColumnExist(), 3);
  make_table_without({"time", "link_id", "link_option", "title"});
  EXPECT_EQ(isAllColumnExist(), 3);
  std::vector<std::string> all_but_title;
  for (std::size_t i = 0; i < kRequired; ++i) {
    all_but_title.emplace_back(kColumns[i].name);
  }
  make_table_without(all_but_title);
  EXPECT_EQ(isAllColumnExist(), 21);
}

TEST_F(OlderNoticeTable, Reports21ColumnsMissingWithoutTheTableOrTheFile) {
  EXPECT_EQ(isAllColumnExist(), 21);
  put_garbage(kLog);
  EXPECT_EQ(isAllColumnExist(), 21);
}

// ---- annal_notice_table_add_column ----

struct NewColumn {
  int type;
  const char* declared;
  const char* stored;
};

TEST_F(NoticeTable, GetsAColumnWithADefault) {
  put_notice();
  for (const auto& [type, declared, stored] : {NewColumn{0, "TEXT", "text"}, NewColumn{1, "INTEGER", "integer"}}) {
    SCOPED_TRACE(declared);
    const std::string name = std::string("new_") + declared;
    EXPECT_EQ(annal_notice_table_add_column(name.c_str(), type, "7"), ANNAL_OK);
    EXPECT_EQ(sql(kLog, "SELECT type, dflt_value FROM pragma_table_info('ANNAL_NOTICE') WHERE name = '" + name + "';"),
              Rows({{declared, "'7'"}}));
    EXPECT_EQ(sql(kLog, "SELECT x, typeof(x) FROM (SELECT " + name + " AS x FROM ANNAL_NOTICE);"),
              Rows({{"7", stored}}));
  }
}

TEST_F(NoticeTable, GetsAColumnWithAnEmptyDefault) {
  EXPECT_EQ(annal_notice_table_add_column("colour", 0, ""), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), connection({"exec ALTER TABLE ANNAL_NOTICE ADD COLUMN colour TEXT DEFAULT ''"}, false));
  EXPECT_EQ(annal_notice_table_add_column("weight", 1, ""), ANNAL_OK);
  EXPECT_EQ(sqlite.statements().back(), "ALTER TABLE ANNAL_NOTICE ADD COLUMN weight INTEGER DEFAULT ''");
}

TEST_F(NoticeTable, RefusesAnExistingColumn) {
  const Rows before = schema();
  EXPECT_EQ(annal_notice_table_add_column("title", 0, ""), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(annal_notice_table_add_column("uid", 1, "0"), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(schema(), before);
}

TEST_F(NoticeTable, InsertsANewColumnAndItsDefaultUnescaped) {
  const Rows before = schema();
  EXPECT_EQ(annal_notice_table_add_column("colour", 0, "it's"), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(annal_notice_table_add_column("colour's", 1, "1"), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(schema(), before);
  EXPECT_EQ(annal_notice_table_add_column("colour", 0, "it''s"), ANNAL_OK);
  EXPECT_EQ(sqlite.statements().back(), "ALTER TABLE ANNAL_NOTICE ADD COLUMN colour TEXT DEFAULT 'it''s'");
}

TEST_F(NoticeTable, RefusesABadColumnBeforeOpeningTheFile) {
  std::remove(kLog);
  for (const int type : {0, 1, 2}) {
    SCOPED_TRACE(type);
    EXPECT_EQ(annal_notice_table_add_column(nullptr, type, "x"), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(annal_notice_table_add_column("colour", type, nullptr), ANNAL_BAD_ARGUMENT);
    EXPECT_EQ(annal_notice_table_add_column(nullptr, type, nullptr), ANNAL_BAD_ARGUMENT);
  }
  for (const int type : {2, 3, -1, INT_MIN, INT_MAX}) {
    SCOPED_TRACE(type);
    EXPECT_EQ(annal_notice_table_add_column("colour", type, "x"), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(kLog));
}

// ---- AnnalNoticeModifyTbl ----

constexpr const char* kAddTitle = "exec ALTER TABLE ANNAL_NOTICE ADD COLUMN title TEXT DEFAULT ''";

// Calls that a recreation makes before it checks for title: 21 column checks, then one connection for the table and one
// for the trigger.
constexpr int kLooks = static_cast<int>(kRequired);
constexpr int kOpensBeforeTitle = kLooks + 2;
constexpr int kTextsBeforeTitle = kLooks + 1;
constexpr int kStatementsOfCreation = static_cast<int>(std::size(kIndexes)) + 3;

// Expects a recreated, empty log of the current layout.
void expect_recreated() {
  EXPECT_EQ(ids(), "");
  EXPECT_EQ(value(kLog, "SELECT sql FROM sqlite_master WHERE name = 'ANNAL_NOTICE';"), kTable);
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM sqlite_master WHERE name LIKE 'idx%';"), "18");
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM sqlite_master WHERE name = 'other';"), "0");
  EXPECT_EQ(triggers(), Rows({{"annal_notice_logfull", trigger(10000, 1)}}));
}

TEST_F(NoticeTable, StaysUnchangedIfCurrentAndNotEmpty) {
  put_notice();
  const Rows before = content();
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_OK);
  Calls expected = required_calls();
  append(expected, check_calls("title", Found::kYes));
  EXPECT_EQ(sqlite.calls(), expected);
  EXPECT_EQ(content(), before);
}

TEST_F(NoticeTable, IsRecreatedWithAFailureIfEmpty) {
  sql(kLog, "CREATE TABLE other (x); DROP TRIGGER annal_notice_logfull;");
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_CHANGE_FAILED);
  Calls expected = required_calls();
  append(expected, creation_calls(10000, 1));
  append(expected, check_calls("title", Found::kYes));
  append(expected, connection({kAddTitle}, false));
  EXPECT_EQ(sqlite.calls(), expected);
  expect_recreated();
}

TEST_F(OlderNoticeTable, GetsTitle) {
  make_table_without({"title"});
  sql(kLog, "UPDATE ANNAL_NOTICE SET id = 7, link_option = 'x';");
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_OK);
  Calls expected = required_calls();
  append(expected, check_calls("title", Found::kNo));
  append(expected, connection({kAddTitle}, false));
  EXPECT_EQ(sqlite.calls(), expected);
  EXPECT_EQ(sql(kLog, "SELECT cid, name, type, dflt_value FROM pragma_table_info('ANNAL_NOTICE') WHERE cid >= 21;"),
            Rows({{"21", "title", "TEXT", "''"}}));
  EXPECT_EQ(sql(kLog, "SELECT id, link_option, title FROM ANNAL_NOTICE;"), Rows({{"7", "x", ""}}));
}

TEST_F(OlderNoticeTable, ReportsWhyTitleCannotBeAdded) {
  const struct {
    const char* function;
    int nth;
    int answer;
  } failures[] = {
      {"open", kLooks + 2, ANNAL_OPEN_FAILED},
      {"mprintf", kLooks + 2, ANNAL_NO_MEMORY},
      {"exec", 1, ANNAL_CHANGE_FAILED},
  };
  for (const auto& [function, nth, answer] : failures) {
    SCOPED_TRACE(function);
    make_table_without({"title"});
    const Rows before = content();
    sqlite.fail(function, nth);
    EXPECT_EQ(AnnalNoticeModifyTbl(), answer);
    EXPECT_EQ(content(), before);
  }
}

TEST_F(OlderNoticeTable, IsRecreatedIfItLacksAnyOtherColumn) {
  for (std::size_t i = 0; i < kRequired; ++i) {
    SCOPED_TRACE(kColumns[i].name);
    make_table_without({kColumns[i].name});
    sql(kLog, "CREATE TABLE other (x);");
    sqlite.reset();
    EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_CHANGE_FAILED) << "the new table has title, and nothing in it to show that";
    Calls expected = required_calls(kColumns[i].name);
    append(expected, creation_calls(10000, 1));
    append(expected, check_calls("title", Found::kYes));
    append(expected, connection({kAddTitle}, false));
    EXPECT_EQ(sqlite.calls(), expected);
    expect_recreated();
  }
}

TEST_F(OlderNoticeTable, IsRecreatedIfItLacksTitleAndAnotherColumn) {
  make_table_without({"link_option", "title"});
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_CHANGE_FAILED);
  expect_recreated();
}

TEST_F(OlderNoticeTable, IsCreatedIfMissing) {
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_CHANGE_FAILED);
  expect_recreated();
}

TEST_F(OlderNoticeTable, ReplacesANonDatabaseFile) {
  put_garbage(kLog);
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_CHANGE_FAILED);
  expect_recreated();
}

TEST_F(OlderNoticeTable, KeepsItsRightsWhenRecreated) {
  for (const Rights& rights : unusual_rights()) {
    put_garbage(kLog);
    give_rights(kLog, rights);
    EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_CHANGE_FAILED);
    expect_recreated();
    EXPECT_EQ(rights_of(kLog), rights);
  }
}

TEST_F(OlderNoticeTable, CountsAsCurrentIfItCannotBeOpened) {
  remove_log_folder();
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_OK);
  EXPECT_FALSE(exists("/etc/logs"));
}

// If title cannot be checked, the call returns the creation's result.
TEST_F(OlderNoticeTable, ReturnsItsCreationsResultIfTitleCannotBeChecked) {
  const struct {
    const char* failing_step;
    int failing_statement;  // the creation's statement that fails; 0 for none
    const char* function;   // the function that fails in the check for title
    int nth;
    int answer;
  } failures[] = {
      {"none", 0, "open", kOpensBeforeTitle + 1, ANNAL_OK},
      {"none", 0, "mprintf", kTextsBeforeTitle + 1, ANNAL_OK},
      {"page size", 1, "open", kOpensBeforeTitle + 1, ANNAL_OK},
      {"table, so that no trigger is tried", 2, "open", kOpensBeforeTitle, ANNAL_TABLE_FAILED},
      {"table, so that no trigger is tried", 2, "mprintf", kTextsBeforeTitle, ANNAL_TABLE_FAILED},
      {"trigger", kStatementsOfCreation, "open", kOpensBeforeTitle + 1, ANNAL_TRIGGER_FAILED},
  };
  for (const auto& [failing_step, failing_statement, function, nth, answer] : failures) {
    SCOPED_TRACE(testing::Message() << failing_step << ", " << function);
    make_table_without({"server"});
    sqlite.reset();
    sqlite.fail("exec", failing_statement);
    sqlite.fail(function, nth);
    EXPECT_EQ(AnnalNoticeModifyTbl(), answer);
  }
}

TEST_F(OlderNoticeTable, ReportsTheMissingTitleIfItsCreationFails) {
  make_table_without({"server"});
  sqlite.fail("exec", 2);
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_CHANGE_FAILED);
  EXPECT_EQ(sqlite.statements().back(), kAddTitle + std::string("exec ").size());
  EXPECT_EQ(schema(), Rows());
}

TEST_F(NoticeTable, WaitsForALockToMigrate) {
  put_notice();
  const LockHolder lock(kLog, 200ms);
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_OK);
}

// While it exists, the library cannot delete files.
class DeletionRefused {
 public:
  DeletionRefused() { refused = true; }
  ~DeletionRefused() { refused = false; }
  DeletionRefused(const DeletionRefused&) = delete;
  DeletionRefused& operator=(const DeletionRefused&) = delete;

  static inline bool refused = false;
};

TEST_F(OlderNoticeTable, IsKeptWhenItsFileCannotBeDeleted) {
  make_table_without({"server"});
  const DeletionRefused refused;
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_TABLE_FAILED);
  EXPECT_EQ(value(kLog, "SELECT COUNT(*) FROM ANNAL_NOTICE;"), "1");
}

TEST_F(OlderNoticeTable, GetsTitleWhenItsFileCannotBeDeleted) {
  make_table_without({"server", "title"});
  const DeletionRefused refused;
  EXPECT_EQ(AnnalNoticeModifyTbl(), ANNAL_OK);
  EXPECT_EQ(value(kLog, "SELECT title FROM ANNAL_NOTICE;"), "");
}

}  // namespace
}  // namespace annal::test

extern "C" int unlink(const char* path) noexcept {
  static auto* const real = reinterpret_cast<decltype(&unlink)>(annal::test::next_function("unlink"));
  if (CALLED_BY_LIBRARY() && annal::test::DeletionRefused::refused) {
    errno = EACCES;
    return -1;
  }
  return real(path);
}
