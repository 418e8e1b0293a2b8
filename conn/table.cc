// The connection log's table: its text, limits, selectors and columns.
#include "common/table.h"
#include "Corix_annal.h"
#include "common/columns.h"
#include "common/flag.h"
#include "common/paths.h"
#include "common/store.h"

// Other programs read every text here, from the file itself (which contains the table, its indexes and its trigger word
// for word, including blanks and tabs) or from traces: do not tidy any of them.

namespace annal {

namespace {

// No index on conn_res, conn_client_id and conn_client_agent: they are long, they are only searched by substring, and
// every insert pays for every index. One text, so that the table never exists without its indexes.
constexpr CreationStep kCreationSteps[] = {
    {"PRAGMA page_size = 2048; "
     "BEGIN TRANSACTION; "
     "CREATE TABLE ANNAL_CONN ( "
     "conn_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, "
     "conn_type INTEGER, "
     "conn_date TEXT DEFAULT (strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME')), "
     "conn_time TEXT DEFAULT (strftime('%H:%M:%S', CURRENT_TIMESTAMP, 'LOCALTIME')), "
     "conn_user TEXT, conn_ip TEXT, conn_comp TEXT, conn_res TEXT, "
     "conn_serv INTEGER, conn_action INTEGER, conn_app TEXT, conn_action_result INTEGER, "
     "conn_client_id TEXT DEFAULT '---', conn_client_app TEXT DEFAULT '---', conn_client_agent TEXT DEFAULT '---' "
     "); "
     "CREATE INDEX idx_conn_type on ANNAL_CONN(conn_type); "
     "CREATE INDEX idx_conn_date on ANNAL_CONN(conn_date); "
     "CREATE INDEX idx_conn_time on ANNAL_CONN(conn_time); "
     "CREATE INDEX idx_conn_user on ANNAL_CONN(conn_user); "
     "CREATE INDEX idx_conn_ip on ANNAL_CONN(conn_ip); "
     "CREATE INDEX idx_conn_comp on ANNAL_CONN(conn_comp); "
     "CREATE INDEX idx_conn_serv on ANNAL_CONN(conn_serv); "
     "CREATE INDEX idx_conn_action on ANNAL_CONN(conn_action); "
     "CREATE INDEX idx_conn_app on ANNAL_CONN(conn_app); "
     "CREATE INDEX idx_conn_action_result on ANNAL_CONN(conn_action_result); "
     "CREATE INDEX idx_conn_client_app on ANNAL_CONN(conn_client_app); "
     "COMMIT;",
     IfFailed::kReport}};
constexpr Creation kCreation{kCreationSteps, Wait::kBusyTimeout, ANNAL_TABLE_FAILED};

// Never waits for a lock: its owner may have filled the log again by then.
constexpr Statement kRemove{"DROP TABLE ANNAL_CONN;", Wait::kNever, ANNAL_TABLE_FAILED};

constexpr Statement kEmpty{"DELETE FROM ANNAL_CONN;", Wait::kBusyTimeout, ANNAL_EMPTY_FAILED};

// The oldest entries are those with the earliest date and time.
constexpr LogFullTrigger kLogFull{
    .add = {"CREATE TRIGGER annal_conn_logfull AFTER INSERT "
            "\t\t\t\t\t\tON annal_conn WHEN %d < (SELECT COUNT(*) FROM annal_conn) "
            "\t\t\t\t\t\tBEGIN "
            "\t\t\t\t\t\tDELETE FROM annal_conn WHERE conn_id IN "
            "\t\t\t\t\t\t(SELECT conn_id FROM annal_conn ORDER BY conn_date, conn_time "
            "\t\t\t\t\t\tLIMIT %d); "
            "\t\t\t\t\t\tEND;",
            Wait::kBusyTimeout, ANNAL_TRIGGER_FAILED},
    .default_limit = 10000,
    .remove = {"DROP TRIGGER annal_conn_logfull;", Wait::kBusyTimeout, ANNAL_REMOVE_TRIGGER_FAILED},
};

// The number is used as it is: SQLite reads a negative LIMIT as none, so a negative one deletes every entry.
constexpr Statement kDeleteOldest{
    "DELETE FROM annal_conn WHERE conn_id IN     (SELECT conn_id FROM annal_conn ORDER BY conn_date, conn_time LIMIT "
    "%d);",
    Wait::kBusyTimeout, ANNAL_TRIGGER_FAILED};

// The texts are not escaped: callers pass values that they have read from the log, and some pass SQL on purpose.
constexpr Selector kSelectors[] = {
    {"DELETE FROM ANNAL_CONN WHERE conn_id = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_CONN WHERE conn_type = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_CONN WHERE conn_date = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_CONN WHERE conn_time = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_CONN WHERE conn_user = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_CONN WHERE conn_ip = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_CONN WHERE conn_comp = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_CONN WHERE conn_res = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_CONN WHERE conn_serv = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_CONN WHERE conn_action = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_CONN WHERE conn_app = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_CONN WHERE conn_action_result = %d;", Selector::Value::kInteger},
};
constexpr Deletion kDeletion{kSelectors, Wait::kNever, ANNAL_CHANGE_FAILED};

constexpr Probe kProbe{{"SELECT %s from ANNAL_CONN LIMIT 1;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
                       NegativeValue::kIsFailure};

constexpr ColumnAddition kAddition{
    .text = {"ALTER TABLE ANNAL_CONN ADD COLUMN %s TEXT DEFAULT '%s'", Wait::kNever, ANNAL_CHANGE_FAILED},
    .integer = {"ALTER TABLE ANNAL_CONN ADD COLUMN %s INTEGER DEFAULT '%s'", Wait::kNever, ANNAL_CHANGE_FAILED},
};

// The defaults differ from those of a new table on purpose: they mark rows that are older than the column.
constexpr AnnalColumn kColumns[] = {
    {"conn_id", nullptr},
    {"conn_type", nullptr},
    {"conn_date", nullptr},
    {"conn_time", nullptr},
    {"conn_user", nullptr},
    {"conn_ip", nullptr},
    {"conn_comp", nullptr},
    {"conn_res", nullptr},
    {"conn_serv", nullptr},
    {"conn_action", nullptr},
    {"conn_app", "ALTER TABLE `ANNAL_CONN` ADD COLUMN `conn_app` TEXT DEFAULT '';"},
    {"conn_action_result", "ALTER TABLE `ANNAL_CONN` ADD COLUMN `conn_action_result` INTEGER DEFAULT 0;"},
    {"conn_client_id", "ALTER TABLE `ANNAL_CONN` ADD COLUMN `conn_client_id` TEXT DEFAULT '---';"},
    {"conn_client_app", "ALTER TABLE `ANNAL_CONN` ADD COLUMN `conn_client_app` TEXT DEFAULT '---';"},
    {"conn_client_agent", "ALTER TABLE `ANNAL_CONN` ADD COLUMN `conn_client_agent` TEXT DEFAULT '---';"},
};

}  // namespace

}  // namespace annal

using namespace annal;

int is_conn_name_matching = 0;

int annal_conn_create_tbl(int max_rows, int del_rows) noexcept {
  return create_table(kConnLog, kCreation, kLogFull, max_rows, del_rows);
}

int annal_conn_remove_tbl() noexcept {
  return run(kConnLog, kRemove);
}

int annal_conn_flush_tbl() noexcept {
  return run(kConnLog, kEmpty);
}

int annal_conn_add_trigger_logfull(int max_rows, int del_rows) noexcept {
  return add_trigger(kConnLog, kLogFull, max_rows, del_rows);
}

int annal_conn_remove_trigger_logfull() noexcept {
  return run(kConnLog, kLogFull.remove);
}

int annal_conn_del_full(int count) noexcept {
  return run(kConnLog, kDeleteOldest, Text(sqlite3_mprintf(kDeleteOldest.sql, count)));
}

int annal_conn_del(unsigned selector, const void* value) noexcept {
  return delete_by(kConnLog, kDeletion, selector, value);
}

int annal_conn_table_check_column(const char* column) noexcept {
  return check_column(kConnLog, kProbe, column);
}

int annal_conn_table_add_column(const char* column, int kind, const char* default_text) noexcept {
  return add_column(kConnLog, kAddition, column, kind, default_text);
}

int annal_conn_modify_tbl() noexcept {
  return migrate(kConnLog, "ANNAL_CONN", kColumns);
}

int annal_conn_enable_name_matching(int enable) noexcept {
  set(is_conn_name_matching, enable != 0);
  return ANNAL_OK;
}
