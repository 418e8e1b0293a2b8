/*
 * What the header for C++ does, as a program in C does it with the library alone: the same calls, the same looks at
 * what comes back. Each answers a number that depends on all of it, or a negative one.
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
