/* The measured calls as a program in C makes them. */
#include "bench/c_calls.h"

#include <limits.h>
#include <stdlib.h>
#include <string.h>

#include "Corix_annal.h"
#include "conn_log_takes_entries.c"

static const char operations[] = "/etc/logs/fileop.log";

/* ---- storing ---- */

int c_event_add(void) {
  EventRecord record;
  memset(&record, 0, sizeof record);
  record.event_type = ANNAL_WARNING;
  record.event_timet = 1760000000;
  strcpy(record.event_user, "admin");
  strcpy(record.event_ip, "10.0.0.5");
  strcpy(record.event_comp, "pc1");
  strcpy(record.event_desc, "Share \"projects\" was mounted by a client.");
  strcpy(record.event_app_name, "Storage");
  strcpy(record.event_category, "Volumes");
  return annal_event_add_msgid_ex3(&record);
}

static void fill_connection(ConnRecord* record) {
  memset(record, 0, sizeof *record);
  record->conn_type = ANNAL_WARNING;
  strcpy(record->conn_user, "o'neil");
  strcpy(record->conn_ip, "10.0.0.5");
  strcpy(record->conn_comp, "pc1");
  strcpy(record->conn_res, "/share/projects/report.txt");
  record->conn_serv = 1;
  record->conn_action = 2;
  strcpy(record->conn_app, "Files");
}

static int store_connections(ConnRecord* records, int count) {
  int inserted = 0;
  int result;
  if (!conn_log_takes_entries()) {
    return ANNAL_BATCH_FAILED;
  }
  result = annal_conn_add_entries2(records, count, &inserted);
  return result == ANNAL_OK ? inserted : result;
}

int c_conn_add(void) {
  ConnRecord record;
  fill_connection(&record);
  return store_connections(&record, 1);
}

int c_conn_batch(void) {
  ConnRecord* const records = malloc(C_CALLS_BATCH * sizeof *records);
  int result = ANNAL_NO_MEMORY;
  if (records != NULL) {
    int i;
    for (i = 0; i < C_CALLS_BATCH; ++i) {
      fill_connection(&records[i]);
    }
    result = store_connections(records, C_CALLS_BATCH);
  }
  free(records);
  return result;
}

int c_fileop_add(void) {
  FileOpRecord record;
  memset(&record, 0, sizeof record);
  record.event_action = 3;
  record.event_filesize = 7;
  record.event_filepath = "/share/projects/report.txt";
  strcpy(record.event_user, "admin");
  strcpy(record.event_ip, "10.0.0.5");
  strcpy(record.event_comp, "pc1");
  return pavo2log_event_add(operations, &record) > 0 ? 0 : -1;
}

int c_notice_add(void) {
  NoticeRecord record;
  memset(&record, 0, sizeof record);
  record.severity = ANNAL_SEVERITY_ERROR;
  record.uid = record.gid = -1;
  strcpy(record.user, "admin");
  strcpy(record.ip, "10.0.0.5");
  strcpy(record.client, "pc1");
  strcpy(record.desc, "Fan 2 failed.");
  strcpy(record.title, "Fan");
  return annal_notice_add(&record);
}

/* ---- listing ---- */

static int add_lengths(void* context, int columns, char** values, char** names) {
  int* const sum = context;
  (void)columns;
  (void)names;
  *sum += atoi(values[0]) + (int)strlen(values[4]) + (int)strlen(values[7]);
  return 0;
}

/* The notices' user and text stand in other columns. */
static int add_notice_lengths(void* context, int columns, char** values, char** names) {
  int* const sum = context;
  (void)columns;
  (void)names;
  *sum += atoi(values[0]) + (int)strlen(values[8]) + (int)strlen(values[11]);
  return 0;
}

int c_event_newest(void) {
  int sum = 0;
  const int result = annal_event_query_ex3(add_lengths, 1, 0, 50, 0, NULL, NULL, NULL, NULL, NULL, NULL, &sum, NULL,
                                           NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);
  return result == ANNAL_OK ? sum : result;
}

int c_event_filtered(void) {
  int sum = 0;
  const int result = annal_event_query_ex3(add_lengths, 1, 0, 50, 2, "2025-10-01", "2025-10-31", "user1", NULL, NULL,
                                           NULL, &sum, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);
  return result == ANNAL_OK ? sum : result;
}

int c_event_count(void) {
  return annal_event_query_count_ex3(2, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL,
                                     NULL, NULL);
}

int c_event_delete(void) {
  const int id = 5;
  return annal_event_del(ANNAL_EVENT_DEL_ID, &id);
}

int c_conn_filtered(void) {
  int sum = 0;
  const int result = annal_conn_query_ex3(NULL, add_lengths, 1, 0, 50, 2, "2025-10-01", "2025-10-31", "user1", NULL,
                                          NULL, NULL, 0, 0, &sum, NULL, NULL, NULL, 0, NULL, NULL, NULL);
  return result == ANNAL_OK ? sum : result;
}

int c_fileop_filtered(void) {
  FileOpFilter filter;
  int sum = 0;
  int result;
  memset(&filter, 0, sizeof filter);
  filter.event_type = 2;
  filter.event_filesize = -1;
  strcpy(filter.event_user, "user1");
  strcpy(filter.date_from, "2025-10-01");
  strcpy(filter.date_to, "2025-10-31");
  result = pavo2log_event_query_by(operations, add_lengths, &filter, 13, 0, 50, &sum);
  return result == ANNAL_OK ? sum : result;
}

int c_notice_filtered(void) {
  int sum = 0;
  const int result = annal_notice_query_byclientTime(add_notice_lengths, "1759000000", 50000, "1760000000", 0, 50, 1,
                                                     "severity <= 4", &sum);
  return result == ANNAL_OK ? sum : result;
}

/* ---- pages, as the library's header shows them ---- */

enum { kFirstPage = 500, kLargestPage = 8000, kColumns = 17 };

struct kept {
  char* bytes;
  size_t used, room;
  size_t* offsets;
  size_t count, most;
};

struct place {
  struct kept rows;
  int start, seen, gap;
  long long last;
};

static int keep(struct kept* kept, int columns, char** values) {
  int i;
  for (i = 0; i < columns; ++i) {
    const size_t size = strlen(values[i]) + 1;
    if (kept->room - kept->used < size) {
      const size_t room = 2 * kept->room + size + 65536;
      char* const larger = realloc(kept->bytes, room);
      if (larger == NULL) {
        return 1;
      }
      kept->bytes = larger;
      kept->room = room;
    }
    if (kept->count == kept->most) {
      const size_t most = 2 * kept->most + kColumns * kFirstPage;
      size_t* const larger = realloc(kept->offsets, most * sizeof *larger);
      if (larger == NULL) {
        return 1;
      }
      kept->offsets = larger;
      kept->most = most;
    }
    memcpy(kept->bytes + kept->used, values[i], size);
    kept->offsets[kept->count++] = kept->used;
    kept->used += size;
  }
  return 0;
}

static int collect(void* context, int columns, char** values, char** names) {
  struct place* const place = context;
  const long long id = atoll(values[0]);
  (void)names;
  if (place->seen++ == 0 && id >= place->last) {
    place->gap = 0;
  }
  if (!place->gap && id < place->last) {
    place->last = id;
    return keep(&place->rows, columns, values);
  }
  return 0;
}

static int lengths_of(struct kept* kept) {
  int sum = 0;
  size_t row;
  for (row = 0; row + kColumns <= kept->count; row += kColumns) {
    const size_t* const offsets = kept->offsets + row;
    sum +=
        atoi(kept->bytes + offsets[0]) + (int)strlen(kept->bytes + offsets[4]) + (int)strlen(kept->bytes + offsets[7]);
  }
  kept->used = kept->count = 0;
  return sum;
}

int c_event_pages(void) {
  struct place place;
  unsigned sum = 0;
  int page = kFirstPage;
  memset(&place, 0, sizeof place);
  place.last = LLONG_MAX;
  for (;;) {
    int result;
    place.seen = 0;
    place.gap = place.start > 0;
    result = annal_event_query_ex3(collect, 13, place.start, place.start + page, 0, NULL, NULL, NULL, NULL, NULL, NULL,
                                   &place, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL, NULL);
    if (result != ANNAL_OK) {
      return result;
    }
    sum += (unsigned)lengths_of(&place.rows);
    if (place.gap) {
      place.start = place.start > page ? place.start - page : 0;
    } else if (place.seen < page) {
      free(place.rows.bytes);
      free(place.rows.offsets);
      return (int)(sum % INT_MAX);
    } else {
      place.start += page - 1;
      page = page < kLargestPage ? 2 * page : page;
    }
  }
}

int c_event_page(void) {
  struct place place;
  int result;
  memset(&place, 0, sizeof place);
  place.last = LLONG_MAX;
  result = annal_event_query_ex3(collect, 13, 0, 50, 0, NULL, NULL, NULL, NULL, NULL, NULL, &place, NULL, NULL, NULL,
                                 NULL, NULL, NULL, NULL, NULL, NULL);
  if (result == ANNAL_OK) {
    result = lengths_of(&place.rows);
  }
  free(place.rows.bytes);
  free(place.rows.offsets);
  return result;
}
