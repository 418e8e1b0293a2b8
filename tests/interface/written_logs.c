/*
 * written_logs write FILE: makes the appliance's logs and a file-operation log, the same ones in every run and on every
 * processor: the clock stands still.
 * written_logs list FILE: prints every row of them.
 */
#include <limits.h>
#include <sqlite3.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include "Corix_annal.h"

/* Beyond 32 bits. */
static const int64_t kNow = 5000000000;

/* The library asks this program for the time. */
time_t time(time_t* out) {
  if (out != NULL) {
    *out = (time_t)kNow;
  }
  return (time_t)kNow;
}

/* And SQLite, for the connections: in milliseconds since the Julian day 0. */
static int moment(sqlite3_vfs* vfs, sqlite3_int64* out) {
  (void)vfs;
  *out = kNow * 1000 + 210866760000000;
  return SQLITE_OK;
}

static int stop_clock(void) {
  static sqlite3_vfs stopped;
  stopped = *sqlite3_vfs_find(NULL);
  stopped.zName = "stopped";
  stopped.xCurrentTimeInt64 = moment;
  return sqlite3_vfs_register(&stopped, 1);
}

enum { kLimit = 20, kBatch = 3, kEntries = 31 };

static const char* const kTexts[] = {"plain", "", "quote ' and \" and %", "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC", "---"};

static const char* text(int n) {
  return kTexts[(unsigned)n % (sizeof kTexts / sizeof *kTexts)];
}

static int write_events(void) {
  int wrong = annal_event_create_tbl(kLimit, kBatch);
  for (int n = 0; n < kEntries; ++n) {
    EventRecord event;
    memset(&event, 0, sizeof event);
    event.event_type = n % 3;
    event.event_timet = n % 4 == 0 ? 0 : (int64_t)n * INT_MAX;
    snprintf(event.event_desc, sizeof event.event_desc, "%d %s", n, text(n));
    snprintf(event.event_user, sizeof event.event_user, "%s", text(n + 1));
    snprintf(event.event_ip, sizeof event.event_ip, "10.0.0.%d", n);
    wrong |= annal_event_add_msgid_ex3(&event);
  }
  return wrong;
}

static int write_connections(void) {
  static ConnRecord batch[kEntries];
  int inserted = 0;
  int wrong = annal_conn_create_tbl(kLimit, kBatch);
  for (int n = 0; n < kEntries; ++n) {
    memset(&batch[n], 0, sizeof batch[n]);
    batch[n].conn_type = n % 3;
    batch[n].conn_serv = n % 13;
    batch[n].conn_action = n % 37;
    batch[n].conn_action_result = n % 2 == 0 ? 0 : 13;
    snprintf(batch[n].conn_user, sizeof batch[n].conn_user, "%s", text(n));
    snprintf(batch[n].conn_res, sizeof batch[n].conn_res, "%d %s", n, text(n + 2));
    snprintf(batch[n].conn_ip, sizeof batch[n].conn_ip, "fe80::%x", n);
  }
  wrong |= annal_conn_add_entries2(batch, kEntries, &inserted);
  return wrong | (inserted - kEntries);
}

static int write_file_operations(const char* path) {
  int wrong = pavo2log_event_create_tbl(path, kLimit, kBatch);
  for (int n = 0; n < kEntries; ++n) {
    FileOpRecord operation;
    memset(&operation, 0, sizeof operation);
    operation.event_action = 1 + (unsigned)n % 35;
    operation.event_tm.tm_year = 126;
    operation.event_tm.tm_mon = n % 12;
    operation.event_tm.tm_mday = 1 + n % 28;
    operation.event_oldfilepath = text(n);
    operation.event_filepath = text(n + 1);
    operation.event_filesize = n % 2 == 0 ? INT_MAX - n : INT_MIN + n;
    snprintf(operation.event_ip, sizeof operation.event_ip, "10.0.0.%d", n);
    wrong |= pavo2log_event_add(path, &operation) <= 0;
  }
  return wrong;
}

static int write_notices(void) {
  int wrong = annal_notice_create_tbl(kLimit, kBatch);
  for (int n = 0; n < kEntries; ++n) {
    NoticeRecord notice;
    memset(&notice, 0, sizeof notice);
    notice.severity = (unsigned)n % 8;
    notice.time = 5;
    notice.server = n % 2 == 0 ? INT_MIN + n : n;
    snprintf(notice.desc, sizeof notice.desc, "%d %s", n, text(n));
    snprintf(notice.title, sizeof notice.title, "%s", text(n + 3));
    wrong |= annal_notice_add(&notice);
  }
  return wrong;
}

static int print(void* context, int columns, char** values, char** names) {
  ++*(int*)context;
  for (int n = 0; n < columns; ++n) {
    printf("%s=%s%c", names[n], values[n] != NULL ? values[n] : "(null)", n + 1 < columns ? '|' : '\n');
  }
  return 0;
}

/* By id; what is equal in another order comes in any. */
static int list(const char* file_operations) {
  int rows = 0;
  const int wrong = annal_event_query(print, ANNAL_EVENT_SORT_ID, 0, INT_MAX, 0, &rows) |
                    annal_conn_query(NULL, print, ANNAL_CONN_SORT_ID, 0, INT_MAX, 0, &rows) |
                    pavo2log_event_query(file_operations, print, ANNAL_FILEOP_SORT_ID, 0, INT_MAX, 0, &rows) |
                    annal_notice_query(print, ANNAL_NOTICE_SORT_ID, 0, INT_MAX, 0, &rows);
  return wrong | (rows == 0);
}

int main(int argc, char** argv) {
  if (argc == 3 && strcmp(argv[1], "write") == 0) {
    return (stop_clock() | write_events() | write_connections() | write_file_operations(argv[2]) | write_notices()) == 0
               ? 0
               : 1;
  }
  if (argc == 3 && strcmp(argv[1], "list") == 0) {
    return list(argv[2]) == 0 ? 0 : 1;
  }
  fputs("usage: written_logs write|list FILE\n", stderr);
  return 2;
}
