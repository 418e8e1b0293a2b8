/*
 * The floor: what the library does to its files, in bare SQLite calls and plain C, as a program without the library
 * would do it. The statements' texts are the library's own; the driver traces both sides and checks that.
 */
#ifndef ANNAL_BENCH_FLOOR_H
#define ANNAL_BENCH_FLOOR_H

#include "Corix_annal.h"

#ifdef __cplusplus
extern "C" {
#endif

enum floor_wait { FLOOR_NO_WAIT, FLOOR_WAIT };

/* Opens, runs and closes. Returns 0, or SQLite's code. */
int floor_run(const char* path, enum floor_wait wait, const char* sql, annal_row_callback callback, void* context);

/* The same with one number for the format. */
int floor_run_number(const char* path, enum floor_wait wait, const char* format, int number);

/* Returns the first column of the first row, or a negative number. */
int floor_integer(const char* path, const char* sql);

/* Each takes a record that needs no normalising. */
int floor_event_add(const char* path, const EventRecord* record);
int floor_conn_add(const char* path, const ConnRecord* record);
int floor_fileop_add(const char* path, const FileOpRecord* record); /* returns 0, or SQLite's code */
int floor_notice_add(const char* path, const NoticeRecord* record);
int floor_conn_add_entries(const char* path, const ConnRecord* records, int count, int* inserted);

extern const char floor_event_newest[];
extern const char floor_event_filtered[];
extern const char floor_event_count[];
extern const char floor_event_group[];
extern const char floor_event_delete[]; /* format: the id */
extern const char floor_event_trim[];   /* format: the number to keep */

extern const char floor_conn_newest[];
extern const char floor_conn_filtered[];
extern const char floor_conn_count[];
extern const char floor_conn_group[];
extern const char floor_conn_delete[]; /* format: the id */
extern const char floor_conn_trim[];   /* format: the number to delete */

extern const char floor_fileop_newest[];
extern const char floor_fileop_filtered[];
extern const char floor_fileop_count[];
extern const char floor_fileop_delete[]; /* format: the id */

extern const char floor_notice_newest[];
extern const char floor_notice_filtered[];
extern const char floor_notice_count[];
extern const char floor_notice_group[];
extern const char floor_notice_delete[]; /* format: the id */

#ifdef __cplusplus
}
#endif

#endif /* ANNAL_BENCH_FLOOR_H */
