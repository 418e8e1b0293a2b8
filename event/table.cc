// The event log's table: its text, limits, selectors and columns.
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

// No index on event_desc, event_client_id and event_client_agent: they are long, they are only searched by substring,
// and every insert pays for every index. One text, so that the table never exists without its indexes.
constexpr CreationStep kCreationSteps[] = {
    {"PRAGMA page_size = 2048; "
     "BEGIN TRANSACTION; "
     "CREATE TABLE ANNAL_EVENT ( "
     "event_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, "
     "event_type INTEGER, "
     "event_date TEXT DEFAULT (strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME')), "
     "event_time TEXT DEFAULT (strftime('%H:%M:%S', CURRENT_TIMESTAMP, 'LOCALTIME')), "
     "event_user TEXT, event_ip TEXT, event_comp TEXT, event_desc TEXT, "
     "event_msgid TEXT, event_timet INTEGER, "
     "event_app_id TEXT, event_app_name TEXT, event_category_id TEXT, event_category TEXT, "
     "event_client_id TEXT DEFAULT '---', event_client_app TEXT DEFAULT '---', event_client_agent TEXT DEFAULT '---' "
     "); "
     "CREATE INDEX idx_event_type on ANNAL_EVENT(event_type); "
     "CREATE INDEX idx_event_date on ANNAL_EVENT(event_date); "
     "CREATE INDEX idx_event_time on ANNAL_EVENT(event_time); "
     "CREATE INDEX idx_event_user on ANNAL_EVENT(event_user); "
     "CREATE INDEX idx_event_ip on ANNAL_EVENT(event_ip); "
     "CREATE INDEX idx_event_comp on ANNAL_EVENT(event_comp); "
     "CREATE INDEX idx_event_msgid on ANNAL_EVENT(event_msgid); "
     "CREATE INDEX idx_event_timet on ANNAL_EVENT(event_timet); "
     "CREATE INDEX idx_event_app_id on ANNAL_EVENT(event_app_id); "
     "CREATE INDEX idx_event_app_name on ANNAL_EVENT(event_app_name); "
     "CREATE INDEX idx_event_category_id on ANNAL_EVENT(event_category_id); "
     "CREATE INDEX idx_event_category on ANNAL_EVENT(event_category); "
     "CREATE INDEX idx_event_client_app on ANNAL_EVENT(event_client_app); "
     "COMMIT;",
     IfFailed::kReport}};
constexpr Creation kCreation{kCreationSteps, Wait::kBusyTimeout, ANNAL_TABLE_FAILED};

// Never waits for a lock: its owner may have filled the log again by then.
constexpr Statement kRemove{"DROP TABLE ANNAL_EVENT;", Wait::kNever, ANNAL_TABLE_FAILED};

constexpr Statement kEmpty{"DELETE FROM ANNAL_EVENT;", Wait::kBusyTimeout, ANNAL_EMPTY_FAILED};

constexpr int kDefaultLimit = 100000;

// The oldest entries are those with the earliest date and time: an event may be stored long after it happened.
constexpr LogFullTrigger kLogFull{
    .add = {"CREATE TRIGGER annal_event_logfull AFTER INSERT "
            "\tON annal_event WHEN %d < (SELECT COUNT(*) FROM annal_event) "
            "\tBEGIN "
            "\t\tDELETE FROM annal_event WHERE event_id IN "
            "\t\t(SELECT event_id FROM annal_event ORDER BY event_date, event_time LIMIT %d); "
            "\tEND;",
            Wait::kBusyTimeout, ANNAL_TRIGGER_FAILED},
    .default_limit = kDefaultLimit,
    .remove = {"DROP TRIGGER IF EXISTS annal_event_logfull;", Wait::kBusyTimeout, ANNAL_REMOVE_TRIGGER_FAILED},
};

constexpr Statement kTrim{
    "DELETE FROM annal_event WHERE event_id IN ( "
    "\t\tSELECT event_id FROM annal_event ORDER BY event_date, event_time LIMIT ( "
    "\t\t\tSELECT MAX(COUNT(event_id) - %d, 0) FROM annal_event "
    "\t\t) \t)",
    Wait::kBusyTimeout, ANNAL_TRIGGER_FAILED};

// The texts are not escaped: callers pass values that they have read from the log, and some pass SQL on purpose.
constexpr Selector kSelectors[] = {
    {"DELETE FROM ANNAL_EVENT WHERE event_id = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_EVENT WHERE event_type = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_EVENT WHERE event_date = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_EVENT WHERE event_time = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_EVENT WHERE event_user = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_EVENT WHERE event_ip = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_EVENT WHERE event_comp = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_EVENT WHERE event_desc = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_EVENT WHERE event_msgid = '%s';", Selector::Value::kText},
    {"DELETE FROM ANNAL_EVENT WHERE event_timet = %d;", Selector::Value::kInteger},
};
constexpr Deletion kDeletion{kSelectors, Wait::kNever, ANNAL_CHANGE_FAILED};

constexpr Probe kProbe{{"SELECT %s from ANNAL_EVENT LIMIT 1;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
                       NegativeValue::kIsFailure};

constexpr ColumnAddition kAddition{
    .text = {"ALTER TABLE ANNAL_EVENT ADD COLUMN %s TEXT DEFAULT '%s'", Wait::kNever, ANNAL_CHANGE_FAILED},
    .integer = {"ALTER TABLE ANNAL_EVENT ADD COLUMN %s INTEGER DEFAULT '%s'", Wait::kNever, ANNAL_CHANGE_FAILED},
};

// The %s inside strftime takes the caller's format. The missing blank between date and time is as old as the column:
// programs that call this know the result.
constexpr Statement kRebuildTimestamps{
    "replace into ANNAL_EVENT (event_id,event_type,event_date,event_time,"
    "event_user,event_ip,event_comp,event_desc,event_msgid,event_timet) "
    "\t\tselect event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, "
    "event_msgid, "
    "strftime('%s',(event_date||event_time)) as event_timet from ANNAL_EVENT;",
    Wait::kNever, ANNAL_CHANGE_FAILED};

// The defaults differ from those of a new table on purpose: they mark rows that are older than the column.
constexpr AnnalColumn kColumns[] = {
    {"event_id", nullptr},
    {"event_type", nullptr},
    {"event_date", nullptr},
    {"event_time", nullptr},
    {"event_user", nullptr},
    {"event_ip", nullptr},
    {"event_comp", nullptr},
    {"event_desc", nullptr},
    {"event_msgid", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_msgid` TEXT DEFAULT '0';"},
    {"event_timet", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_timet` INTEGER DEFAULT 0;"},
    {"event_app_id", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_app_id` TEXT DEFAULT '---';"},
    {"event_app_name", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_app_name` TEXT DEFAULT '---';"},
    {"event_category_id", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_category_id` TEXT DEFAULT '---';"},
    {"event_category", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_category` TEXT DEFAULT '---';"},
    {"event_client_id", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_client_id` TEXT DEFAULT '---';"},
    {"event_client_app", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_client_app` TEXT DEFAULT '---';"},
    {"event_client_agent", "ALTER TABLE `ANNAL_EVENT` ADD COLUMN `event_client_agent` TEXT DEFAULT '---';"},
};

}  // namespace

}  // namespace annal

using namespace annal;

int is_event_name_matching = 0;

int annal_event_create_tbl(int limit, int batch) noexcept {
  return create_table(kEventLog, kCreation, kLogFull, limit, batch);
}

int annal_event_remove_tbl() noexcept {
  return run(kEventLog, kRemove);
}

int annal_event_flush_tbl() noexcept {
  return run(kEventLog, kEmpty);
}

int annal_event_add_trigger_logfull(int limit, int batch) noexcept {
  return add_trigger(kEventLog, kLogFull, limit, batch);
}

int annal_event_remove_trigger_logfull() noexcept {
  return run(kEventLog, kLogFull.remove);
}

int annal_event_del_logfull_over_size(int limit) noexcept {
  return run(kEventLog, kTrim, Text(sqlite3_mprintf(kTrim.sql, limit_or(limit, kDefaultLimit))));
}

int annal_event_del(unsigned selector, const void* value) noexcept {
  return delete_by(kEventLog, kDeletion, selector, value);
}

int annal_event_table_check_column(const char* column) noexcept {
  return check_column(kEventLog, kProbe, column);
}

int annal_event_table_add_column(const char* column, int kind, const char* default_text) noexcept {
  return add_column(kEventLog, kAddition, column, kind, default_text);
}

int annal_event_table_update_event_timet(const void* /*unused*/, const char* text) noexcept {
  if (text == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  return run(kEventLog, kRebuildTimestamps, Text(sqlite3_mprintf(kRebuildTimestamps.sql, text)));
}

int annal_event_modify_tbl() noexcept {
  return migrate(kEventLog, "ANNAL_EVENT", kColumns);
}

int* annal_event_enable_name_matching(int on) noexcept {
  set(is_event_name_matching, on != 0);
  return &is_event_name_matching;
}
