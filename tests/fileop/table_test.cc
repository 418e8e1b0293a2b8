// The file-operation log's table: its layout in the file, its maintenance and its result codes.
#include <climits>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "Corix_annal.h"
#include "tests/suites/log_operations.h"

namespace annal::test {
namespace {

// Any path works; this one is in a folder that is emptied before each test.
constexpr const char* kLog = "/etc/logs/operations.db";

// ---- the table as the file holds it ----

constexpr const char* kTable =
    "CREATE TABLE PAVO2LOG_EVENT \t( event_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \tevent_type "
    "INTEGER, \tevent_date TEXT DEFAULT CURRENT_DATE, \tevent_time TEXT DEFAULT CURRENT_TIME, "
    "\tevent_user TEXT, \tevent_ip TEXT, \tevent_oldfilepath TEXT, \tevent_filepath TEXT, "
    "\tevent_isFolder INTEGER, \tevent_action INTEGER, \tevent_filesize INTEGER, \tevent_comp TEXT, "
    "\tevent_duid TEXT, \tevent_desc TEXT, \tsub_user TEXT, \tpid INTEGER)";

constexpr const char* kIndexes[] = {
    "CREATE INDEX idx_event_type on PAVO2LOG_EVENT(event_type)",
    "CREATE INDEX idx_event_date on PAVO2LOG_EVENT(event_date)",
    "CREATE INDEX idx_event_time on PAVO2LOG_EVENT(event_time)",
    "CREATE INDEX idx_event_user on PAVO2LOG_EVENT(event_user)",
    "CREATE INDEX idx_event_ip on PAVO2LOG_EVENT(event_ip)",
    "CREATE INDEX idx_event_oldfilepath on PAVO2LOG_EVENT(event_oldfilepath)",
    "CREATE INDEX idx_event_filepath on PAVO2LOG_EVENT(event_filepath)",
    "CREATE INDEX idx_event_isFolder on PAVO2LOG_EVENT(event_isFolder)",
    "CREATE INDEX idx_event_action on PAVO2LOG_EVENT(event_action)",
    "CREATE INDEX idx_event_filesize on PAVO2LOG_EVENT(event_filesize)",
};

Calls creation_of_table() {
  Calls work = {"exec PRAGMA page_size = 2048;", "exec PRAGMA case_sensitive_like=ON;",
                std::string("exec ") + kTable + ";"};
  for (const char* index : kIndexes) {
    work.push_back(std::string("exec ") + index + ";");
  }
  return connection(kLog, work, true);
}

// Without its final semicolon, as the file stores it.
std::string trigger(int limit, int batch) {
  return "CREATE TRIGGER pavo2log_event_logfull AFTER INSERT \t\t\t\t\t\tON pavo2log_event WHEN " +
         std::to_string(limit) +
         " < (SELECT COUNT(*) FROM pavo2log_event) \t\t\t\t\t\tBEGIN \t\t\t\t\t\tDELETE FROM pavo2log_event "
         "WHERE event_id IN \t\t\t\t\t\t(SELECT event_id FROM pavo2log_event ORDER BY event_date, event_time "
         "\t\t\t\t\t\tLIMIT " +
         std::to_string(batch) + "); \t\t\t\t\t\tEND";
}

// ---- helpers ----

std::string ids() {
  return value(kLog,
               "SELECT coalesce(group_concat(event_id), '') FROM (SELECT event_id FROM PAVO2LOG_EVENT ORDER BY "
               "event_id);");
}

void put_entry_of(const std::string& date, const std::string& time) {
  sql(kLog, "INSERT INTO PAVO2LOG_EVENT (event_date, event_time) VALUES ('" + date + "', '" + time + "');");
}

Rows triggers() {
  return sql(kLog, "SELECT name, sql FROM sqlite_master WHERE type = 'trigger';");
}

std::string bytes_of_file() {
  std::ifstream file(kLog, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// A log with an empty table.
class FileOpTable : public ApplianceTest {
 protected:
  void SetUp() override {
    ApplianceTest::SetUp();
    ASSERT_EQ(pavo2log_event_create_tbl(kLog, 0, 0), ANNAL_OK);
    sqlite.reset();
  }
};

// ---- what all operations on the table have in common ----

constexpr TestedLog kTested{
    .path = kLog,
    .table = "PAVO2LOG_EVENT",
    .trigger = "pavo2log_event_logfull",
    .create = [](int limit, int batch) { return pavo2log_event_create_tbl(kLog, limit, batch); },
    .entry =
        "INSERT INTO PAVO2LOG_EVENT VALUES (7, 1, '2020-01-02', '10:00:00', 'ann', '10.0.0.5', '/share/a', "
        "'/share/b', 2, 35, 4096, 'pc1', 'phone', 'renamed', 'sub', 12);",
};

std::vector<Operation> operations() {
  return {
      {.name = "Remove",
       .call = [] { return pavo2log_event_remove_tbl(kLog); },
       .work = {"exec DROP TABLE PAVO2LOG_EVENT;"},
       .waits = false,
       .builds_text = false,
       .failure = ANNAL_TABLE_FAILED},
      {.name = "Flush",
       .call = [] { return pavo2log_event_flush_tbl(kLog); },
       .work = {"exec DELETE FROM PAVO2LOG_EVENT;"},
       .waits = true,
       .builds_text = false,
       .failure = ANNAL_EMPTY_FAILED},
      {.name = "AddTrigger",
       .call = [] { return pavo2log_event_add_trigger_logfull(kLog, 50, 5); },
       .work = {"exec " + trigger(50, 5) + ";"},
       .waits = true,
       .builds_text = true,
       .failure = ANNAL_TRIGGER_FAILED},
      {.name = "RemoveTrigger",
       .call = [] { return pavo2log_event_remove_trigger_logfull(kLog); },
       .work = {"exec DROP TRIGGER pavo2log_event_logfull;"},
       .waits = true,
       .builds_text = false,
       .failure = ANNAL_REMOVE_TRIGGER_FAILED},
      {.name = "DeleteByText",
       .call = [] { return pavo2log_event_del(kLog, 2, "2020-01-02"); },
       .work = {"exec DELETE FROM PAVO2LOG_EVENT WHERE event_date = '2020-01-02';"},
       .waits = false,
       .builds_text = true,
       .failure = ANNAL_CHANGE_FAILED},
  };
}

INSTANTIATE_TEST_SUITE_P(FileOpTable, EveryOperation, testing::ValuesIn(tested(kTested, operations(), Which::kAll)),
                         &name_of);
INSTANTIATE_TEST_SUITE_P(FileOpTable, EveryBuiltOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kBuildText)), &name_of);
INSTANTIATE_TEST_SUITE_P(FileOpTable, EveryWaitingOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kWait)), &name_of);
INSTANTIATE_TEST_SUITE_P(FileOpTable, EveryNonwaitingOperation,
                         testing::ValuesIn(tested(kTested, operations(), Which::kDoNotWait)), &name_of);

TEST_F(FileOpTable, RefusesANullPath) {
  EXPECT_EQ(pavo2log_event_create_tbl(nullptr, 0, 0), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(pavo2log_event_remove_tbl(nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(pavo2log_event_flush_tbl(nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(pavo2log_event_add_trigger_logfull(nullptr, 0, 0), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(pavo2log_event_remove_trigger_logfull(nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(pavo2log_event_del(nullptr, 2, "2020-01-02"), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(sqlite.calls(), Calls());
}

TEST_F(FileOpTable, IsInTheCallersFile) {
  constexpr const char* kOther = "/etc/logs/other.db";
  EXPECT_EQ(pavo2log_event_create_tbl(kOther, 0, 0), ANNAL_OK);
  EXPECT_EQ(pavo2log_event_remove_tbl(kOther), ANNAL_OK);
  EXPECT_EQ(ids(), "");
}

// ---- pavo2log_event_create_tbl ----

class FileOpTableCreation : public ApplianceTest {};

TEST_F(FileOpTableCreation, RunsTheTablesTextsAndThenTheTriggers) {
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 3, 2), ANNAL_OK);
  Calls expected = creation_of_table();
  append(expected, connection(kLog, {"exec " + trigger(3, 2) + ";"}, true));
  EXPECT_EQ(sqlite.calls(), expected);
}

TEST_F(FileOpTableCreation, LeavesItsTextsInTheFileWordForWord) {
  pavo2log_event_create_tbl(kLog, 3, 2);
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

TEST_F(FileOpTableCreation, UsesAnEmptyFile) {
  std::ofstream(kLog).close();
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 3, 2), ANNAL_OK);
  EXPECT_EQ(triggers(), Rows({{"pavo2log_event_logfull", trigger(3, 2)}}));
}

TEST_F(FileOpTableCreation, LeavesAnExistingLogAlone) {
  pavo2log_event_create_tbl(kLog, 3, 2);
  sql(kLog, kTested.entry);
  const std::string before = bytes_of_file();
  sqlite.reset();
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 9, 9), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_EQ(bytes_of_file(), before);
}

TEST_F(FileOpTableCreation, LeavesAnotherDatabaseAlone) {
  sql(kLog, "CREATE TABLE other (id INTEGER);");
  const std::string before = bytes_of_file();
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 0, 0), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_EQ(bytes_of_file(), before);
}

TEST_F(FileOpTableCreation, LeavesANonDatabaseFileAlone) {
  std::ofstream(kLog) << "x";
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 0, 0), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_EQ(bytes_of_file(), "x");
}

TEST_F(FileOpTableCreation, DoesNotWaitForAnExistingLog) {
  pavo2log_event_create_tbl(kLog, 0, 0);
  const LockHolder lock(kLog);
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 0, 0), ANNAL_OK);
}

TEST_F(FileOpTableCreation, FollowsALinkToTheFile) {
  std::ofstream("/etc/logs/empty").close();
  std::filesystem::create_symlink("/etc/logs/empty", kLog);
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 3, 2), ANNAL_OK);
  EXPECT_EQ(triggers(), Rows({{"pavo2log_event_logfull", trigger(3, 2)}}));
}

TEST_F(FileOpTableCreation, ReportsAFailedTableAndContinuesWithItsIndexes) {
  sqlite.fail("exec", 3);
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 3, 2), ANNAL_TABLE_FAILED);
  EXPECT_EQ(sqlite.calls(), creation_of_table());
}

TEST_F(FileOpTableCreation, SucceedsIfOnlyAnotherStepFails) {
  for (const int step : {1, 2, 4, 13}) {
    std::remove(kLog);
    sqlite.reset();
    sqlite.fail("exec", step);
    EXPECT_EQ(pavo2log_event_create_tbl(kLog, 3, 2), ANNAL_OK) << step;
    EXPECT_EQ(sqlite.statements().size(), 14U);
    EXPECT_EQ(triggers().size(), 1U);
  }
}

TEST_F(FileOpTableCreation, LeavesTheTableWhenTheTriggerFails) {
  sqlite.fail("exec", 14);
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 3, 2), ANNAL_TRIGGER_FAILED);
  EXPECT_EQ(ids(), "");
  EXPECT_EQ(triggers(), Rows());
}

TEST_F(FileOpTableCreation, LeavesTheTableIfTheTriggerCannotBeBuilt) {
  sqlite.fail("mprintf");
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 3, 2), ANNAL_NO_MEMORY);
  EXPECT_EQ(ids(), "");
  EXPECT_EQ(triggers(), Rows());
}

TEST_F(FileOpTableCreation, FailsWithoutTheFolder) {
  remove_log_folder();
  EXPECT_EQ(pavo2log_event_create_tbl(kLog, 3, 2), ANNAL_OPEN_FAILED);
}

TEST_F(FileOpTableCreation, GivesTheTriggerItsLimits) {
  constexpr struct {
    int limit;
    int batch;
    int expected_limit;
    int expected_batch;
  } kLimits[] = {{0, 0, 100000, 1}, {-5, 3, 100000, 3}, {7, -1, 7, 1}, {INT_MIN, INT_MIN, 100000, 1}, {1, 1, 1, 1}};
  for (const auto& [limit, batch, expected_limit, expected_batch] : kLimits) {
    std::remove(kLog);
    EXPECT_EQ(pavo2log_event_create_tbl(kLog, limit, batch), ANNAL_OK);
    EXPECT_EQ(triggers(), Rows({{"pavo2log_event_logfull", trigger(expected_limit, expected_batch)}}));
  }
}

TEST_F(FileOpTable, GivesEntriesADateAndATime) {
  sql(kLog, "INSERT INTO PAVO2LOG_EVENT DEFAULT VALUES;");
  EXPECT_EQ(value(kLog,
                  "SELECT event_id || (event_date = date('now') OR event_date = date('now', '-1 minute')) || "
                  "(event_time GLOB '[0-2][0-9]:[0-5][0-9]:[0-5][0-9]') || coalesce(pid, 'none') FROM PAVO2LOG_EVENT;"),
            "111none");
}

// ---- the size limit ----

TEST_F(FileOpTable, RefusesASecondTriggerAndLosesTheFirst) {
  EXPECT_EQ(pavo2log_event_add_trigger_logfull(kLog, 3, 2), ANNAL_TRIGGER_FAILED);
  EXPECT_EQ(pavo2log_event_remove_trigger_logfull(kLog), ANNAL_OK);
  EXPECT_EQ(triggers(), Rows());
  EXPECT_EQ(pavo2log_event_remove_trigger_logfull(kLog), ANNAL_REMOVE_TRIGGER_FAILED);
}

TEST_F(FileOpTable, DropsTheOldestByDateAndTimeWhenFull) {
  pavo2log_event_remove_trigger_logfull(kLog);
  ASSERT_EQ(pavo2log_event_add_trigger_logfull(kLog, 3, 2), ANNAL_OK);
  put_entry_of("2020-01-03", "10:00:00");
  put_entry_of("2020-01-02", "12:00:00");
  put_entry_of("2020-01-02", "11:00:00");
  EXPECT_EQ(ids(), "1,2,3");
  put_entry_of("2020-01-04", "00:00:00");
  EXPECT_EQ(ids(), "1,4");
}

// ---- pavo2log_event_del ----

struct Selection {
  unsigned selector;
  int number;
  const char* text;  // null for a number
  const char* statement;
};

constexpr Selection kSelections[] = {
    {0, 7, nullptr, "DELETE FROM PAVO2LOG_EVENT WHERE event_id = 7;"},
    {1, 1, nullptr, "DELETE FROM PAVO2LOG_EVENT WHERE event_type = 1;"},
    {2, 0, "2020-01-02", "DELETE FROM PAVO2LOG_EVENT WHERE event_date = '2020-01-02';"},
    {3, 0, "10:00:00", "DELETE FROM PAVO2LOG_EVENT WHERE event_time = '10:00:00';"},
    {4, 0, "ann", "DELETE FROM PAVO2LOG_EVENT WHERE event_user = 'ann';"},
    {5, 0, "10.0.0.5", "DELETE FROM PAVO2LOG_EVENT WHERE event_ip = '10.0.0.5';"},
    {6, 2, nullptr, "DELETE FROM PAVO2LOG_EVENT WHERE event_isFolder = '2';"},
    {7, 35, nullptr, "DELETE FROM PAVO2LOG_EVENT WHERE event_action = '35';"},
    {8, 4096, nullptr, "DELETE FROM PAVO2LOG_EVENT WHERE event_filesize = '4096';"},
    {9, 0, "pc1", "DELETE FROM PAVO2LOG_EVENT WHERE event_comp = 'pc1';"},
    {10, 0, "phone", "DELETE FROM PAVO2LOG_EVENT WHERE event_duid = 'phone';"},
    {11, 0, "renamed", "DELETE FROM PAVO2LOG_EVENT WHERE event_desc = 'renamed';"},
    {12, 0, "/share/b", "DELETE FROM PAVO2LOG_EVENT WHERE event_filepath = '/share/b';"},
};

void PrintTo(const Selection& selection, std::ostream* out) {
  *out << selection.statement;
}

class FileOpDeletionBy : public FileOpTable, public testing::WithParamInterface<Selection> {
 protected:
  static const void* given() {
    return GetParam().text != nullptr ? static_cast<const void*>(GetParam().text) : &GetParam().number;
  }
};

INSTANTIATE_TEST_SUITE_P(FileOpTable, FileOpDeletionBy, testing::ValuesIn(kSelections),
                         [](const testing::TestParamInfo<Selection>& tested) {
                           return std::to_string(tested.param.selector);
                         });

TEST_P(FileOpDeletionBy, TakesTheMatchingEntriesOnlyWithoutWaiting) {
  sql(kLog, kTested.entry);
  sql(kLog,
      "INSERT INTO PAVO2LOG_EVENT VALUES (8, 2, 'd', 't', 'u', 'i', '/share/b', '/c', 1, 3, 5, 'c', 'd', 'e', '', 0);");
  EXPECT_EQ(pavo2log_event_del(kLog, GetParam().selector, given()), ANNAL_OK);
  EXPECT_EQ(sqlite.calls(), connection(kLog, {std::string("exec ") + GetParam().statement}, false));
  EXPECT_EQ(ids(), "8");
  EXPECT_EQ(pavo2log_event_del(kLog, GetParam().selector, given()), ANNAL_OK);
}

TEST_P(FileOpDeletionBy, RefusesANullValueBeforeOpeningTheFile) {
  EXPECT_EQ(pavo2log_event_del(kLog, GetParam().selector, nullptr), ANNAL_BAD_ARGUMENT);
  EXPECT_EQ(sqlite.calls(), Calls());
}

TEST_P(FileOpDeletionBy, TakesATextUnescaped) {
  sql(kLog, kTested.entry);
  if (GetParam().text != nullptr) {
    EXPECT_EQ(pavo2log_event_del(kLog, GetParam().selector, "it's"), ANNAL_CHANGE_FAILED);
    EXPECT_EQ(ids(), "7");
    EXPECT_EQ(pavo2log_event_del(kLog, GetParam().selector, "' OR '1'='1"), ANNAL_OK);
    EXPECT_EQ(ids(), "");
  } else {
    const int other = -GetParam().number;
    EXPECT_EQ(pavo2log_event_del(kLog, GetParam().selector, &other), ANNAL_OK);
    EXPECT_EQ(ids(), "7");
  }
}

TEST_F(FileOpTable, RefusesSelectorAbove12BeforeOpeningTheFile) {
  std::remove(kLog);
  for (const unsigned selector : {13U, 14U, UINT_MAX}) {
    EXPECT_EQ(pavo2log_event_del(kLog, selector, "x"), ANNAL_BAD_ARGUMENT);
  }
  EXPECT_EQ(sqlite.calls(), Calls());
  EXPECT_FALSE(exists(kLog));
}

}  // namespace
}  // namespace annal::test
