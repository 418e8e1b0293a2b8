// The file-operation log's table, in a file that the caller names.
#include <sys/stat.h>

#include "Corix_annal.h"
#include "common/store.h"
#include "common/table.h"

// Other programs read every text here, from the file itself (which contains the table, its indexes and its trigger word
// for word, including tabs) or from traces: do not tidy any of them.

namespace annal {

namespace {

// A missing index costs speed, not operations, so only the table itself decides the result. How LIKE compares is a
// property of the connection, not of the file: the queries' own connections ignore case.
constexpr CreationStep kCreationSteps[] = {
    {"PRAGMA page_size = 2048;", IfFailed::kGoOn},
    {"PRAGMA case_sensitive_like=ON;", IfFailed::kGoOn},
    {"CREATE TABLE PAVO2LOG_EVENT "
     "\t( event_id INTEGER PRIMARY KEY AUTOINCREMENT UNIQUE, \tevent_type INTEGER, \tevent_date TEXT DEFAULT "
     "CURRENT_DATE, \tevent_time TEXT DEFAULT CURRENT_TIME, "
     "\tevent_user TEXT, \tevent_ip TEXT, \tevent_oldfilepath TEXT, \tevent_filepath TEXT, "
     "\tevent_isFolder INTEGER, \tevent_action INTEGER, \tevent_filesize INTEGER, \tevent_comp TEXT, "
     "\tevent_duid TEXT, \tevent_desc TEXT, \tsub_user TEXT, \tpid INTEGER);",
     IfFailed::kReport},
    {"CREATE INDEX idx_event_type on PAVO2LOG_EVENT(event_type);", IfFailed::kGoOn},
    {"CREATE INDEX idx_event_date on PAVO2LOG_EVENT(event_date);", IfFailed::kGoOn},
    {"CREATE INDEX idx_event_time on PAVO2LOG_EVENT(event_time);", IfFailed::kGoOn},
    {"CREATE INDEX idx_event_user on PAVO2LOG_EVENT(event_user);", IfFailed::kGoOn},
    {"CREATE INDEX idx_event_ip on PAVO2LOG_EVENT(event_ip);", IfFailed::kGoOn},
    {"CREATE INDEX idx_event_oldfilepath on PAVO2LOG_EVENT(event_oldfilepath);", IfFailed::kGoOn},
    {"CREATE INDEX idx_event_filepath on PAVO2LOG_EVENT(event_filepath);", IfFailed::kGoOn},
    {"CREATE INDEX idx_event_isFolder on PAVO2LOG_EVENT(event_isFolder);", IfFailed::kGoOn},
    {"CREATE INDEX idx_event_action on PAVO2LOG_EVENT(event_action);", IfFailed::kGoOn},
    {"CREATE INDEX idx_event_filesize on PAVO2LOG_EVENT(event_filesize);", IfFailed::kGoOn},
};
constexpr Creation kCreation{kCreationSteps, Wait::kBusyTimeout, ANNAL_TABLE_FAILED};

// Never waits for a lock: its owner may have filled the log again by then.
constexpr Statement kRemove{"DROP TABLE PAVO2LOG_EVENT;", Wait::kNever, ANNAL_TABLE_FAILED};

constexpr Statement kEmpty{"DELETE FROM PAVO2LOG_EVENT;", Wait::kBusyTimeout, ANNAL_EMPTY_FAILED};

// The oldest operations are those with the earliest date and time.
constexpr LogFullTrigger kLogFull{
    .add = {"CREATE TRIGGER pavo2log_event_logfull AFTER INSERT "
            "\t\t\t\t\t\tON pavo2log_event WHEN %d < (SELECT COUNT(*) FROM pavo2log_event) "
            "\t\t\t\t\t\tBEGIN "
            "\t\t\t\t\t\tDELETE FROM pavo2log_event WHERE event_id IN "
            "\t\t\t\t\t\t(SELECT event_id FROM pavo2log_event ORDER BY event_date, event_time "
            "\t\t\t\t\t\tLIMIT %d); "
            "\t\t\t\t\t\tEND;",
            Wait::kBusyTimeout, ANNAL_TRIGGER_FAILED},
    .default_limit = 100000,
    .remove = {"DROP TRIGGER pavo2log_event_logfull;", Wait::kBusyTimeout, ANNAL_REMOVE_TRIGGER_FAILED},
};

// The texts are not escaped: callers pass values that they have read from the log. SQLite converts a quoted number to
// the column's type before it compares.
constexpr Selector kSelectors[] = {
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_id = %d;", Selector::Value::kInteger},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_type = %d;", Selector::Value::kInteger},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_date = '%s';", Selector::Value::kText},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_time = '%s';", Selector::Value::kText},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_user = '%s';", Selector::Value::kText},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_ip = '%s';", Selector::Value::kText},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_isFolder = '%d';", Selector::Value::kInteger},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_action = '%d';", Selector::Value::kInteger},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_filesize = '%d';", Selector::Value::kInteger},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_comp = '%s';", Selector::Value::kText},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_duid = '%s';", Selector::Value::kText},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_desc = '%s';", Selector::Value::kText},
    {"DELETE FROM PAVO2LOG_EVENT WHERE event_filepath = '%s';", Selector::Value::kText},
};
constexpr Deletion kDeletion{kSelectors, Wait::kNever, ANNAL_CHANGE_FAILED};

// Do not touch an existing file, whether or not it is a database: it may belong to someone else.
bool holds_something(const char* path) noexcept {
  struct stat status {};
  return stat(path, &status) == 0 && status.st_size != 0;
}

}  // namespace

}  // namespace annal

using namespace annal;

int pavo2log_event_create_tbl(const char* path, int max_rows, int delete_count) noexcept {
  if (path == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  return holds_something(path) ? static_cast<int>(ANNAL_OK)
                               : create_table(path, kCreation, kLogFull, max_rows, delete_count);
}

int pavo2log_event_remove_tbl(const char* path) noexcept {
  return path != nullptr ? run(path, kRemove) : ANNAL_BAD_ARGUMENT;
}

int pavo2log_event_flush_tbl(const char* path) noexcept {
  return path != nullptr ? run(path, kEmpty) : ANNAL_BAD_ARGUMENT;
}

int pavo2log_event_add_trigger_logfull(const char* path, int max_rows, int delete_count) noexcept {
  return path != nullptr ? add_trigger(path, kLogFull, max_rows, delete_count) : ANNAL_BAD_ARGUMENT;
}

int pavo2log_event_remove_trigger_logfull(const char* path) noexcept {
  return path != nullptr ? run(path, kLogFull.remove) : ANNAL_BAD_ARGUMENT;
}

int pavo2log_event_del(const char* path, unsigned selector, const void* value) noexcept {
  return path != nullptr ? delete_by(path, kDeletion, selector, value) : ANNAL_BAD_ARGUMENT;
}
