/*
 * A log that a later release has given a column, used by a program of this one: everything goes on as before, and the
 * column is kept.
 */
#include <limits.h>
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "Corix_annal.h"

#define FILE_OPERATIONS "/etc/logs/fileop.log"

static int failures = 0;

static void expect(int condition, const char* log, const char* what) {
  if (!condition) {
    ++failures;
    fprintf(stderr, "%s: not so: %s\n", log, what);
  }
}
#define EXPECT(condition) expect(condition, log->table, #condition)

static int add_event(void) {
  EventRecord event;
  memset(&event, 0, sizeof event);
  return annal_event_add_msgid_ex3(&event);
}

static int add_event_of_the_first_form(void) {
  EventRecordBasic event;
  memset(&event, 0, sizeof event);
  return annal_event_add(&event);
}

static int add_connection(void) {
  ConnRecord connection;
  memset(&connection, 0, sizeof connection);
  return annal_conn_add2(&connection);
}

/* What deletes a log that it cannot write to. */
static int add_connections(void) {
  ConnRecordV1 connection;
  int inserted = 0;
  memset(&connection, 0, sizeof connection);
  return annal_conn_add_entries(&connection, 1, &inserted);
}

static int add_file_operation(void) {
  FileOpRecord operation;
  memset(&operation, 0, sizeof operation);
  strcpy(operation.event_ip, "10.0.0.1");
  operation.event_action = 1;
  operation.event_oldfilepath = operation.event_filepath = "/a";
  return pavo2log_event_add(FILE_OPERATIONS, &operation) > 0 ? ANNAL_OK : ANNAL_INSERT_FAILED;
}

static int add_notice(void) {
  NoticeRecord notice;
  memset(&notice, 0, sizeof notice);
  return annal_notice_add(&notice);
}

static int create_file_operations(int limit, int batch) {
  return pavo2log_event_create_tbl(FILE_OPERATIONS, limit, batch);
}
static int list_events(annal_row_callback row, void* context) {
  return annal_event_query(row, ANNAL_EVENT_SORT_ID, 0, INT_MAX, 0, context);
}
static int list_connections(annal_row_callback row, void* context) {
  return annal_conn_query(NULL, row, ANNAL_CONN_SORT_ID, 0, INT_MAX, 0, context);
}
static int list_file_operations(annal_row_callback row, void* context) {
  return pavo2log_event_query(FILE_OPERATIONS, row, ANNAL_FILEOP_SORT_ID, 0, INT_MAX, 0, context);
}
static int list_notices(annal_row_callback row, void* context) {
  return annal_notice_query(row, ANNAL_NOTICE_SORT_ID, 0, INT_MAX, 0, context);
}
static int migrate_nothing(void) {
  return ANNAL_OK;
}
static int delete_event(const void* id) {
  return annal_event_del(ANNAL_EVENT_DEL_ID, id);
}
static int delete_connection(const void* id) {
  return annal_conn_del(ANNAL_CONN_DEL_ID, id);
}
static int delete_file_operation(const void* id) {
  return pavo2log_event_del(FILE_OPERATIONS, ANNAL_FILEOP_DEL_ID, id);
}
static int delete_notice(const void* id) {
  return annal_notice_del(0, id);
}

static const struct log {
  const char *path, *table;
  int (*create)(int limit, int batch);
  int (*add)(void);
  int (*add_otherwise)(void);
  int (*list)(annal_row_callback row, void* context);
  int (*migrate)(void);
  int migrated;     /* with a column more than this release knows, two refuse and change nothing */
  int lists_column; /* the events' listing names its columns */
  int (*delete_by_id)(const void* id);
} kLogs[] = {
    {"/etc/logs/event.log", "ANNAL_EVENT", annal_event_create_tbl, add_event, add_event_of_the_first_form, list_events,
     annal_event_modify_tbl, ANNAL_CHANGE_FAILED, 0, delete_event},
    {"/etc/logs/conn.log", "ANNAL_CONN", annal_conn_create_tbl, add_connection, add_connections, list_connections,
     annal_conn_modify_tbl, ANNAL_CHANGE_FAILED, 1, delete_connection},
    {FILE_OPERATIONS, "PAVO2LOG_EVENT", create_file_operations, add_file_operation, add_file_operation,
     list_file_operations, migrate_nothing, ANNAL_OK, 1, delete_file_operation},
    {"/etc/logs/notice.log", "ANNAL_NOTICE", annal_notice_create_tbl, add_notice, add_notice, list_notices,
     AnnalNoticeModifyTbl, ANNAL_OK, 1, delete_notice},
};

struct seen {
  int rows, columns;
  char first[64], last[64];
};

static int look(void* context, int columns, char** values, char** names) {
  struct seen* seen = context;
  (void)values;
  ++seen->rows;
  seen->columns = columns;
  snprintf(seen->first, sizeof seen->first, "%s", names[0]);
  snprintf(seen->last, sizeof seen->last, "%s", names[columns - 1]);
  return 0;
}

static int remember_number(void* context, int columns, char** values, char** names) {
  (void)columns;
  (void)names;
  *(int*)context = atoi(values[0]);
  return 0;
}

/* What a statement about a log's table answers with: a number, or -1. */
static int run(const struct log* log, const char* format) {
  char statement[128];
  sqlite3* database = NULL;
  int answer = 0;
  snprintf(statement, sizeof statement, format, log->table);
  if (sqlite3_open(log->path, &database) != SQLITE_OK ||
      sqlite3_exec(database, statement, remember_number, &answer, NULL) != SQLITE_OK) {
    answer = -1;
  }
  sqlite3_close(database);
  return answer;
}

static void use_with_a_newer_column(const struct log* log) {
  struct seen before;
  struct seen after;
  const int first = 1;
  int n;
  memset(&before, 0, sizeof before);
  memset(&after, 0, sizeof after);
  EXPECT(log->create(4, 1) == ANNAL_OK);
  EXPECT(log->add() == ANNAL_OK);
  EXPECT(log->list(look, &before) == ANNAL_OK && before.rows == 1);

  EXPECT(run(log, "ALTER TABLE %s ADD COLUMN of_a_later_release TEXT DEFAULT 'new'") == 0);
  EXPECT(log->migrate() == log->migrated);
  EXPECT(log->add_otherwise() == ANNAL_OK);
  EXPECT(log->list(look, &after) == ANNAL_OK && after.rows == 2);
  EXPECT(after.columns == before.columns + log->lists_column && strcmp(after.first, before.first) == 0);
  EXPECT(strcmp(after.last, log->lists_column ? "of_a_later_release" : before.last) == 0);

  EXPECT(log->delete_by_id(&first) == ANNAL_OK);
  EXPECT(run(log, "SELECT MIN(ROWID) FROM %s") == 2);
  for (n = 0; n < 5; ++n) {
    EXPECT(log->add() == ANNAL_OK);
  }
  EXPECT(run(log, "SELECT COUNT(*) FROM %s WHERE of_a_later_release = 'new'") == 4);
}

int main(void) {
  for (size_t n = 0; n < sizeof kLogs / sizeof *kLogs; ++n) {
    use_with_a_newer_column(&kLogs[n]);
  }
  return failures == 0 ? 0 : 1;
}
