/* Lists a log as the header's example does while others add entries and delete old, new and middle ones. */
#include <limits.h>
#include <sqlite3.h>
#include <stdio.h>
#include <stdlib.h>

#include "Corix_annal.h"

enum { kMost = 20000 };
static long long listed[kMost];
static int count = 0;
static int written = 0;

static void keep(int columns, char** values, char** names) {
  (void)names;
  if (columns >= 17 && count < kMost) {
    listed[count++] = atoll(values[0]);
  }
}

static const char* change_between_pages = "";

static int run(const char* statements) {
  sqlite3* log = NULL;
  int result = sqlite3_open("/etc/logs/event.log", &log);
  if (result == SQLITE_OK) {
    /* No busy time-out: a lock left by the listing shows at once. */
    result = sqlite3_exec(log, statements, NULL, NULL, NULL);
  }
  sqlite3_close(log);
  return result;
}

static int changes_refused = 0;

static void write_out(void) {
  written = count;
  changes_refused += run(change_between_pages) != SQLITE_OK;
}

#include "example.inc"

#define FILL                                                              \
  "DELETE FROM ANNAL_EVENT; DELETE FROM sqlite_sequence;"                 \
  "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < 3000)" \
  "INSERT INTO ANNAL_EVENT (event_id, event_desc) SELECT i, 'm' FROM n;"
#define ADD(rows)                                                          \
  "WITH n(i) AS (VALUES(1) UNION ALL SELECT i + 1 FROM n WHERE i < " #rows \
  ")"                                                                      \
  "INSERT INTO ANNAL_EVENT (event_desc) SELECT 'new' FROM n;"

/* Every entry that exists throughout must be listed once, by falling id. */
static int failures_of(const char* name, const char* change, long long first_kept, long long last_kept, int step) {
  long long id;
  int failures = 0;
  int i = 0;
  count = written = changes_refused = 0;
  change_between_pages = change;
  if (run(FILL) != SQLITE_OK || list_by_pages() != ANNAL_OK || written != count || changes_refused != 0) {
    ++failures;
  }
  for (i = 1; i < count; ++i) {
    failures += listed[i] >= listed[i - 1];
  }
  i = 0;
  for (id = last_kept; id >= first_kept; id -= step) {
    while (i < count && listed[i] > id) {
      ++i;
    }
    failures += i == count || listed[i] != id;
  }
  if (failures != 0) {
    fprintf(stderr, "%s: %d failures in %d rows\n", name, failures, count);
  }
  return failures;
}

int main(void) {
  int failures = 0;
  if (annal_event_create_tbl(0, 0) != ANNAL_OK) {
    return 1;
  }
  failures += failures_of("nothing changes", "", 1, 3000, 1);
  failures += failures_of("a few are added", ADD(7), 1, 3000, 1);
  failures += failures_of("nearly as many are added as are listed", ADD(400), 1, 3000, 1);
  failures += failures_of(
      "the oldest are deleted",
      "DELETE FROM ANNAL_EVENT WHERE event_id IN (SELECT event_id FROM ANNAL_EVENT ORDER BY event_id LIMIT 20);", 201,
      3000, 1);
  failures += failures_of(
      "the newest are deleted",
      "DELETE FROM ANNAL_EVENT WHERE event_id IN (SELECT event_id FROM ANNAL_EVENT ORDER BY event_id DESC LIMIT 60);",
      1, 2000, 1);
  failures += failures_of("every other one is deleted", "DELETE FROM ANNAL_EVENT WHERE event_id % 2 = 1;", 2, 3000, 2);
  failures += failures_of("most are deleted", "DELETE FROM ANNAL_EVENT WHERE event_id > 100;", 1, 100, 1);
  return failures == 0 ? 0 : 1;
}
