/*
 * What the header for C++ does, in C with the library alone: the same calls, and the same reading of the results. Each
 * returns a number that depends on all of them, or a negative one.
 */
#ifndef ANNAL_BENCH_C_CALLS_H
#define ANNAL_BENCH_C_CALLS_H

#ifdef __cplusplus
extern "C" {
#endif

enum { C_CALLS_BATCH = 100 };

int c_event_add(void);
int c_event_newest(void);
int c_event_filtered(void);
int c_event_count(void);
int c_event_pages(void);
int c_event_page(void);
int c_event_delete(void);
int c_conn_add(void);
int c_conn_batch(void);
int c_conn_filtered(void);
int c_fileop_add(void);
int c_fileop_filtered(void);
int c_notice_add(void);
int c_notice_filtered(void);

#ifdef __cplusplus
}
#endif

#endif /* ANNAL_BENCH_C_CALLS_H */
