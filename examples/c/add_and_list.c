/* Adds an event and lists the log. It prints the rows after the listing, whose callback holds up writers. */
#include <Corix_annal.h>
#include <Corix_annal_text.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

enum { kMost = 100 };

struct rows {
  int count;
  char lines[kMost][256];
};

/* A column without a value (NULL) comes as a null pointer. */
static const char* text(const char* value) {
  return value != NULL ? value : "";
}

static int collect(void* context, int columns, char** values, char** names) {
  struct rows* rows = context;
  (void)columns;
  (void)names;
  if (rows->count < kMost) {
    snprintf(rows->lines[rows->count++], sizeof rows->lines[0], "%s %s %s %s", text(values[0]),
             annal_level_name(atoi(text(values[1]))), text(values[4]), text(values[7]));
  }
  return 0;
}

int main(void) {
  static struct rows rows;
  EventRecord event;
  int result = annal_event_create_tbl(0, 0);
  if (result != ANNAL_OK && result != ANNAL_TABLE_FAILED) { /* which means that the log exists */
    fprintf(stderr, "create: %s\n", annal_result_text(result));
    return 1;
  }
  memset(&event, 0, sizeof event);
  event.event_type = ANNAL_WARNING;
  strcpy(event.event_user, "o'neil");
  strcpy(event.event_desc, "Volume 1 is nearly full.");
  result = annal_event_add_msgid_ex3(&event);
  if (result == ANNAL_OK) {
    result = annal_event_query(collect, ANNAL_EVENT_SORT_ID, 0, kMost, ANNAL_ANY_LEVEL, &rows);
  }
  if (result != ANNAL_OK) {
    fprintf(stderr, "%s: %s\n", annal_result_name(result), annal_result_text(result));
    return 1;
  }
  for (int i = 0; i < rows.count; ++i) {
    puts(rows.lines[i]);
  }
  return 0;
}
