/*
 * The minimal user of a log: counts the events once and exits. Built twice, with the library and with SQLite alone.
 * With an argument it then prints its private memory.
 */
#include <stdio.h>
#include <string.h>

#ifdef WITHOUT_THE_LIBRARY
#include <sqlite3.h>

static int count(void) {
  sqlite3* database = NULL;
  sqlite3_stmt* statement = NULL;
  int value = -1;
  if (sqlite3_open("/etc/logs/event.log", &database) == SQLITE_OK) {
    sqlite3_busy_timeout(database, 20000);
    if (sqlite3_prepare(database, "SELECT COUNT(*) FROM ANNAL_EVENT ;", -1, &statement, NULL) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW) {
      value = sqlite3_column_int(statement, 0);
    }
    sqlite3_finalize(statement);
  }
  sqlite3_close(database);
  return value;
}
#else
#include "Corix_annal.h"

static int count(void) {
  return annal_event_query_count(0);
}
#endif

int main(int argc, char** argv) {
  const int counted = count();
  if (argc > 1 && strcmp(argv[1], "memory") == 0) {
    char line[256];
    FILE* const memory = fopen("/proc/self/smaps_rollup", "r");
    while (memory != NULL && fgets(line, sizeof line, memory) != NULL) {
      if (strncmp(line, "Private_Dirty:", 14) == 0) {
        fputs(line + 14, stdout);
      }
    }
    if (memory != NULL) {
      fclose(memory);
    }
  }
  return counted >= 0 ? 0 : 1;
}
