// The notice list's table: its text, limits, selectors and columns, and the migration that recreates the file.
#include "common/table.h"
#include "Corix_annal.h"
#include "common/columns.h"
#include "common/paths.h"
#include "common/recreation.h"
#include "common/store.h"

// Other programs read every text here, from the file itself (which contains the table, its indexes and its trigger word
// for word, including tabs) or from traces: do not tidy any of them.

namespace annal {

namespace {

// One index for each column by which the notice centre sorts or groups. A missing one costs speed, not notices, so only
// the table itself decides the result.
constexpr CreationStep kCreationSteps[] = {
    {"PRAGMA page_size = 2048;", IfFailed::kGoOn},
    {"CREATE TABLE ANNAL_NOTICE "
     "\t( id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \tseverity INTEGER, \tserver INTEGER, \taction INTEGER, "
     "\tserviceName TEXT, \tfacility INTEGER, \ttime INTEGER, \tendtime INTEGER, "
     "\tuser TEXT, \tip TEXT, \tclient TEXT, \tdesc TEXT, \tmsgCode TEXT, "
     "\tvarNum INTEGER, \tvarContent TEXT, \tname TEXT, \tstatus INTEGER, \tuid INTEGER, \tgid INTEGER, "
     "\tlink_id TEXT, \tlink_option TEXT, \ttitle TEXT );",
     IfFailed::kReport},
    {"CREATE INDEX idx_severity on ANNAL_NOTICE(severity);", IfFailed::kGoOn},
    {"CREATE INDEX idx_server on ANNAL_NOTICE(server);", IfFailed::kGoOn},
    {"CREATE INDEX idx_action on ANNAL_NOTICE(action);", IfFailed::kGoOn},
    {"CREATE INDEX idx_serviceName on ANNAL_NOTICE(serviceName);", IfFailed::kGoOn},
    {"CREATE INDEX idx_facility on ANNAL_NOTICE(facility);", IfFailed::kGoOn},
    {"CREATE INDEX idx_time on ANNAL_NOTICE(time);", IfFailed::kGoOn},
    {"CREATE INDEX idx_endtime on ANNAL_NOTICE(endtime);", IfFailed::kGoOn},
    {"CREATE INDEX idx_user on ANNAL_NOTICE(user);", IfFailed::kGoOn},
    {"CREATE INDEX idx_ip on ANNAL_NOTICE(ip);", IfFailed::kGoOn},
    {"CREATE INDEX idx_client on ANNAL_NOTICE(client);", IfFailed::kGoOn},
    {"CREATE INDEX idx_msgCode on ANNAL_NOTICE(msgCode);", IfFailed::kGoOn},
    {"CREATE INDEX idx_varNum on ANNAL_NOTICE(varNum);", IfFailed::kGoOn},
    {"CREATE INDEX idx_name on ANNAL_NOTICE(name);", IfFailed::kGoOn},
    {"CREATE INDEX idx_status on ANNAL_NOTICE(status);", IfFailed::kGoOn},
    {"CREATE INDEX idx_uid on ANNAL_NOTICE(uid);", IfFailed::kGoOn},
    {"CREATE INDEX idx_gid on ANNAL_NOTICE(gid);", IfFailed::kGoOn},
    {"CREATE INDEX idx_link_id on ANNAL_NOTICE(link_id);", IfFailed::kGoOn},
    {"CREATE INDEX idx_link_option on ANNAL_NOTICE(link_option);", IfFailed::kGoOn},
};
constexpr Creation kCreation{kCreationSteps, Wait::kBusyTimeout, ANNAL_TABLE_FAILED};

constexpr Statement kRemove{"DROP TABLE ANNAL_NOTICE;", Wait::kNever, ANNAL_TABLE_FAILED};

constexpr Statement kEmpty{"DELETE FROM ANNAL_NOTICE;", Wait::kBusyTimeout, ANNAL_EMPTY_FAILED};

// The oldest notices are those with the earliest time.
constexpr LogFullTrigger kLogFull{
    .add = {"CREATE TRIGGER annal_notice_logfull AFTER INSERT "
            "\t\t\t\t\t\tON ANNAL_NOTICE WHEN %d < (SELECT COUNT(*) FROM ANNAL_NOTICE) "
            "\t\t\t\t\t\tBEGIN "
            "\t\t\t\t\t\tDELETE FROM ANNAL_NOTICE WHERE id IN "
            "\t\t\t\t\t\t(SELECT id FROM ANNAL_NOTICE ORDER BY time LIMIT %d); "
            "\t\t\t\t\t\tEND;",
            Wait::kBusyTimeout, ANNAL_TRIGGER_FAILED},
    .default_limit = 10000,
    .remove = {"DROP TRIGGER annal_notice_logfull;", Wait::kBusyTimeout, ANNAL_REMOVE_TRIGGER_FAILED},
};

// Three kinds of rows are odd and must stay so, because callers rely on the results: 6 compares a number with a text,
// 10 names a column that never existed and always fails, and 19 to 21 take an SQL expression where the others take a
// value.
constexpr Selector kSelectors[] = {
    {"DELETE FROM ANNAL_NOTICE WHERE id = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_NOTICE WHERE severity = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_NOTICE WHERE server = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_NOTICE WHERE action = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_NOTICE WHERE serviceName = '%q';", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE facility = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_NOTICE WHERE time = '%q';", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE endtime = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_NOTICE WHERE user = '%q';", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE ip = '%q';", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE clisant = '%q';", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE desc = '%q';", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE msgCode = '%q';", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE varNum = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_NOTICE WHERE varContent = '%q';", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE name = '%q';", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE status = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_NOTICE WHERE uid = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_NOTICE WHERE gid = %d;", Selector::Value::kInteger},
    {"DELETE FROM ANNAL_NOTICE WHERE link_id = %q;", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE link_option = %q;", Selector::Value::kText},
    {"DELETE FROM ANNAL_NOTICE WHERE title = %q;", Selector::Value::kText},
};
constexpr Deletion kDeletion{kSelectors, Wait::kNever, ANNAL_CHANGE_FAILED};

constexpr Statement kDeleteOlder{"DELETE FROM ANNAL_NOTICE WHERE time < (strftime('%%s','now')-%d*86400);",
                                 Wait::kNever, ANNAL_CHANGE_FAILED};

constexpr Probe kProbe{{"SELECT %s from ANNAL_NOTICE LIMIT 1;", Wait::kBusyTimeout, ANNAL_QUERY_FAILED},
                       NegativeValue::kIsReturned};

constexpr ColumnAddition kAddition{
    .text = {"ALTER TABLE ANNAL_NOTICE ADD COLUMN %s TEXT DEFAULT '%s'", Wait::kNever, ANNAL_CHANGE_FAILED},
    .integer = {"ALTER TABLE ANNAL_NOTICE ADD COLUMN %s INTEGER DEFAULT '%s'", Wait::kNever, ANNAL_CHANGE_FAILED},
};

// The columns that a table must have to be kept. A table without title is merely older and gets it added.
constexpr const char* kRequiredColumns[] = {
    "id",         "severity", "server", "action", "serviceName", "facility", "time",
    "endtime",    "user",     "ip",     "client", "desc",        "msgCode",  "varNum",
    "varContent", "name",     "status", "uid",    "gid",         "link_id",  "link_option",
};

}  // namespace

}  // namespace annal

using namespace annal;

int annal_notice_create_tbl(int max_rows, int delete_count) noexcept {
  return create_table(kNoticeLog, kCreation, kLogFull, max_rows, delete_count);
}

int annal_notice_remove_tbl() noexcept {
  return run(kNoticeLog, kRemove);
}

int annal_notice_flush_tbl() noexcept {
  return run(kNoticeLog, kEmpty);
}

int annal_notice_add_trigger_logfull(int max_rows, int delete_count) noexcept {
  return add_trigger(kNoticeLog, kLogFull, max_rows, delete_count);
}

int annal_notice_remove_trigger_logfull() noexcept {
  return run(kNoticeLog, kLogFull.remove);
}

int annal_notice_del(unsigned selector, const void* value) noexcept {
  return delete_by(kNoticeLog, kDeletion, selector, value);
}

int AnnalNoticeDellogByClientTime(int days) noexcept {
  if (days < 1) {
    return ANNAL_BAD_ARGUMENT;
  }
  return run(kNoticeLog, kDeleteOlder, Text(sqlite3_mprintf(kDeleteOlder.sql, days)));
}

int annal_notice_table_check_column(const char* column) noexcept {
  return check_column(kNoticeLog, kProbe, column);
}

int isAllColumnExist() noexcept {
  int missing = 0;
  for (const char* column : kRequiredColumns) {
    if (annal_notice_table_check_column(column) == ANNAL_QUERY_FAILED) {
      ++missing;
    }
  }
  return missing;
}

int annal_notice_table_add_column(const char* column, int type, const char* default_text) noexcept {
  return add_column(kNoticeLog, kAddition, column, type, default_text);
}

int AnnalNoticeModifyTbl() noexcept {
  int result = ANNAL_OK;
  // A table that lacks one of them comes from a different release or is empty. A file that the notice centre can read
  // is worth more than its notices. If the file cannot be deleted, creating the table reports it.
  if (isAllColumnExist() > 0) {
    replace_with_empty_file(kNoticeLog);
    constexpr int kMaxNotices = 10000;
    constexpr int kDeletedAtOnce = 1;
    result = annal_notice_create_tbl(kMaxNotices, kDeletedAtOnce);
  }
  constexpr int kText = 0;
  return annal_notice_table_check_column("title") == ANNAL_QUERY_FAILED
             ? annal_notice_table_add_column("title", kText, "")
             : result;
}
