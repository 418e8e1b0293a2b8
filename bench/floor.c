/* Bare SQLite calls that do what the library does; see floor.h. */
#include "bench/floor.h"

#include <sqlite3.h>
#include <string.h>
#include <time.h>

static sqlite3* open_log(const char* path, enum floor_wait wait) {
  sqlite3* database = NULL;
  if (sqlite3_open(path, &database) != SQLITE_OK) {
    sqlite3_close(database);
    return NULL;
  }
  if (wait == FLOOR_WAIT) {
    sqlite3_busy_timeout(database, 20000);
  }
  return database;
}

int floor_run(const char* path, enum floor_wait wait, const char* sql, annal_row_callback callback, void* context) {
  sqlite3* database = open_log(path, wait);
  int result;
  if (database == NULL) {
    return SQLITE_CANTOPEN;
  }
  result = sqlite3_exec(database, sql, callback, context, NULL);
  sqlite3_close(database);
  return result;
}

static int run_built(const char* path, enum floor_wait wait, char* sql) {
  int result;
  if (sql == NULL) {
    return SQLITE_NOMEM;
  }
  result = floor_run(path, wait, sql, NULL, NULL);
  sqlite3_free(sql);
  return result;
}

int floor_run_number(const char* path, enum floor_wait wait, const char* format, int number) {
  return run_built(path, wait, sqlite3_mprintf(format, number));
}

int floor_integer(const char* path, const char* sql) {
  sqlite3* database = open_log(path, FLOOR_WAIT);
  sqlite3_stmt* statement = NULL;
  int value = -1;
  if (database == NULL) {
    return -1;
  }
  if (sqlite3_prepare(database, sql, -1, &statement, NULL) == SQLITE_OK && sqlite3_step(statement) == SQLITE_ROW) {
    value = sqlite3_column_int(statement, 0);
  }
  sqlite3_finalize(statement);
  sqlite3_close(database);
  return value;
}

int floor_event_add(const char* path, const EventRecord* record) {
  const int timestamp = (int)record->event_timet;
  return run_built(
      path, FLOOR_WAIT,
      sqlite3_mprintf("INSERT INTO ANNAL_EVENT "
                      "( event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, "
                      "event_msgid, event_timet, event_app_id, event_app_name, event_category_id, event_category, "
                      "event_client_id, event_client_app, event_client_agent ) "
                      "VALUES ( %d, DATE(%d, 'UNIXEPOCH', 'LOCALTIME'), TIME(%d, 'UNIXEPOCH', 'LOCALTIME'), "
                      "%Q, %Q, %Q, %Q, %Q, %d, %Q, %Q, %Q, %Q, %Q, %Q, %Q );",
                      record->event_type, timestamp, timestamp, record->event_user, record->event_ip,
                      record->event_comp, record->event_desc, record->event_msgid, timestamp, record->event_app_id,
                      record->event_app_name, record->event_category_id, record->event_category,
                      record->event_client_id, record->event_client_app, record->event_client_agent));
}

int floor_conn_add(const char* path, const ConnRecord* record) {
  return run_built(
      path, FLOOR_WAIT,
      sqlite3_mprintf(
          "INSERT INTO ANNAL_CONN \t( conn_type, conn_user, conn_ip, conn_comp, conn_res, conn_serv, conn_action, "
          "conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent ) \tVALUES \t( %d, '%s', "
          "'%s', '%s', '%q', %d, %d, '%s', %d, %Q, %Q, %Q);",
          record->conn_type, record->conn_user, record->conn_ip, record->conn_comp, record->conn_res, record->conn_serv,
          record->conn_action, record->conn_app, record->conn_action_result, record->conn_client_id,
          record->conn_client_app, record->conn_client_agent));
}

int floor_fileop_add(const char* path, const FileOpRecord* record) {
  char date[32];
  char time[32];
  strftime(date, sizeof date, "%F", &record->event_tm);
  strftime(time, sizeof time, "%T", &record->event_tm);
  return run_built(
      path, FLOOR_WAIT,
      sqlite3_mprintf(
          "INSERT INTO PAVO2LOG_EVENT "
          "\t( event_type, event_date, event_time, event_user, event_ip, event_oldfilepath, event_filepath, "
          "event_isFolder, event_action, event_filesize, event_comp, event_duid, event_desc, sub_user, pid) "
          "\tVALUES "
          "\t( %d, '%s', '%s', '%s', '%s', '%q', '%q', %d, %d, %d, '%s', '%s', '%q', '%s', %d);",
          record->event_type, date, time, record->event_user, record->event_ip, record->event_oldfilepath,
          record->event_filepath, record->event_isFolder, record->event_action, record->event_filesize,
          record->event_comp, record->event_duid, record->event_desc, "", 0));
}

int floor_notice_add(const char* path, const NoticeRecord* record) {
  const int now = (int)time(NULL);
  return run_built(
      path, FLOOR_WAIT,
      sqlite3_mprintf("INSERT INTO ANNAL_NOTICE "
                      "\t( severity, server, action, serviceName, facility, time, endtime, user, ip, client, "
                      "desc, msgCode, varNum, varContent, name, status, uid, gid , "
                      "link_id, link_option, title) "
                      "\tVALUES "
                      "\t( %d, %d, %d, '%q', %d, %d, %d, '%q', '%q', '%q', '%q', '%q', %d, "
                      "'%q', '%q', %d, %d, %d , "
                      "'%q', '%q', '%q');",
                      record->severity, record->server, record->action, record->serviceName, record->facility, now, now,
                      record->user, record->ip, record->client, record->desc, record->msgCode, record->varNum,
                      record->varContent, record->name, record->status, record->uid, record->gid, record->link_id,
                      record->link_option, record->title));
}

static void bind_text(sqlite3_stmt* statement, int place, const char* text) {
  sqlite3_bind_text(statement, place, text, (int)strlen(text), SQLITE_STATIC);
}

int floor_conn_add_entries(const char* path, const ConnRecord* records, int count, int* inserted) {
  sqlite3* database = open_log(path, FLOOR_WAIT);
  sqlite3_stmt* insert = NULL;
  int result;
  int i;
  *inserted = 0;
  if (database == NULL) {
    return SQLITE_CANTOPEN;
  }
  sqlite3_prepare(
      database,
      "INSERT INTO ANNAL_CONN ( conn_type, conn_date, conn_time, conn_user, conn_ip, conn_comp, conn_res, conn_serv, "
      "conn_action, conn_app, conn_action_result, conn_client_id, conn_client_app, conn_client_agent ) VALUES ( ?, "
      "strftime('%Y-%m-%d', CURRENT_TIMESTAMP, 'LOCALTIME'), strftime('%H:%M:%S', CURRENT_TIMESTAMP, 'LOCALTIME'), ?, "
      "?, ?, ?, ?, ?, ?, ?, ?, ?, ? );",
      -1, &insert, NULL);
  result = sqlite3_exec(database, "BEGIN TRANSACTION;", NULL, NULL, NULL);
  for (i = 0; result == SQLITE_OK && i < count; ++i) {
    const ConnRecord* record = &records[i];
    sqlite3_bind_int(insert, 1, record->conn_type);
    bind_text(insert, 2, record->conn_user);
    bind_text(insert, 3, record->conn_ip);
    bind_text(insert, 4, record->conn_comp);
    bind_text(insert, 5, record->conn_res);
    sqlite3_bind_int(insert, 6, record->conn_serv);
    sqlite3_bind_int(insert, 7, record->conn_action);
    bind_text(insert, 8, record->conn_app);
    sqlite3_bind_int(insert, 9, record->conn_action_result);
    bind_text(insert, 10, record->conn_client_id);
    bind_text(insert, 11, record->conn_client_app);
    bind_text(insert, 12, record->conn_client_agent);
    *inserted += sqlite3_step(insert) == SQLITE_DONE;
    sqlite3_reset(insert);
  }
  if (result == SQLITE_OK) {
    result = sqlite3_exec(database, "END TRANSACTION", NULL, NULL, NULL);
  }
  sqlite3_finalize(insert);
  sqlite3_close(database);
  return result;
}

#define EVENT_COLUMNS                                                                                               \
  "event_id, event_type, event_date, event_time, event_user, event_ip, event_comp, event_desc, event_msgid, "       \
  "event_timet, event_app_id, event_app_name, event_category_id, event_category, event_client_id, event_client_app" \
  ", event_client_agent"

const char floor_event_newest[] =
    "SELECT " EVENT_COLUMNS "  FROM ANNAL_EVENT  ORDER BY event_date DESC, event_time DESC LIMIT 50 OFFSET 0;";
const char floor_event_filtered[] =
    "SELECT " EVENT_COLUMNS
    "  FROM ANNAL_EVENT WHERE (event_type = 1)  AND (event_date >= '2025-10-01') AND (event_date <= '2025-10-31')  AND "
    "(event_user LIKE '%user1%')           ORDER BY event_date DESC, event_time DESC LIMIT 50 OFFSET 0;";
const char floor_event_count[] = "SELECT COUNT(*) FROM ANNAL_EVENT ;";
const char floor_event_group[] =
    "SELECT " EVENT_COLUMNS
    "  , COUNT(*) FROM ANNAL_EVENT  GROUP BY event_type,event_user ORDER BY event_user LIMIT "
    "50 OFFSET 0;";
const char floor_event_delete[] = "DELETE FROM ANNAL_EVENT WHERE event_id = %d;";
const char floor_event_trim[] =
    "DELETE FROM annal_event WHERE event_id IN ( "
    "\t\tSELECT event_id FROM annal_event ORDER BY event_date, event_time LIMIT ( "
    "\t\t\tSELECT MAX(COUNT(event_id) - %d, 0) FROM annal_event "
    "\t\t) \t)";

const char floor_conn_newest[] = "SELECT * FROM ANNAL_CONN  ORDER BY conn_date DESC, conn_time DESC LIMIT 50 OFFSET 0;";
const char floor_conn_filtered[] =
    "SELECT * FROM ANNAL_CONN WHERE conn_type = 1  AND (conn_date >= '2025-10-01') AND (conn_date <= '2025-10-31')  "
    "AND (conn_user LIKE '%user1%')           ORDER BY conn_date DESC, conn_time DESC LIMIT 50 OFFSET 0;";
const char floor_conn_count[] = "SELECT COUNT(*) FROM ANNAL_CONN ;";
const char floor_conn_group[] =
    "SELECT *,COUNT(*) FROM ANNAL_CONN  GROUP BY conn_user ORDER BY conn_user LIMIT 50 OFFSET 0;";
const char floor_conn_delete[] = "DELETE FROM ANNAL_CONN WHERE conn_id = %d;";
const char floor_conn_trim[] =
    "DELETE FROM annal_conn WHERE conn_id IN     (SELECT conn_id FROM annal_conn ORDER BY conn_date, conn_time LIMIT "
    "%d);";

const char floor_fileop_newest[] =
    "SELECT * FROM PAVO2LOG_EVENT  ORDER BY event_date DESC, event_time DESC LIMIT 50 OFFSET 0;";
const char floor_fileop_filtered[] =
    "SELECT * FROM PAVO2LOG_EVENT WHERE event_type = 1 AND event_user LIKE '%user1%' AND event_date >= '2025-10-01' "
    "AND event_date <= '2025-10-31'  ORDER BY event_id DESC LIMIT 50 OFFSET 0;";
const char floor_fileop_count[] = "SELECT COUNT(*) FROM PAVO2LOG_EVENT ;";
const char floor_fileop_delete[] = "DELETE FROM PAVO2LOG_EVENT WHERE event_id = %d;";

const char floor_notice_newest[] = "SELECT * FROM ANNAL_NOTICE  ORDER BY time DESC LIMIT 50 OFFSET 0;";
const char floor_notice_filtered[] =
    "SELECT * FROM ANNAL_NOTICE where time >= 1759000000 and time <= 1760000000 and time >= (1760000000 - 30*86400) "
    "and "
    "severity < 5 ORDER BY time DESC LIMIT 50 OFFSET 0;";
const char floor_notice_count[] = "SELECT COUNT(*) FROM ANNAL_NOTICE ;";
const char floor_notice_group[] =
    "SELECT *,COUNT(*) FROM (SELECT * FROM ANNAL_NOTICE ORDER BY time DESC) where time >= 1759000000 and time <= "
    "1760000000 and time >= (1760000000 - 30*86400) GROUP BY facility LIMIT 50 OFFSET 0;";
const char floor_notice_delete[] = "DELETE FROM ANNAL_NOTICE WHERE id = %d;";
