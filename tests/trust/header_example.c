/* The check that the header shows beside annal_conn_add_entries2, as a program that copies it has it. */
#include "conn_log_takes_entries.c"

int header_example(void);

int header_example(void) {
  return conn_log_takes_entries();
}
