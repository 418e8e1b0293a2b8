/* Adds one event and exits, as a CGI program does. */
#include <string.h>

#include "Corix_annal.h"

int main(void) {
  EventRecord record;
  memset(&record, 0, sizeof record);
  strcpy(record.event_user, "admin");
  strcpy(record.event_ip, "10.0.0.5");
  strcpy(record.event_desc, "Share \"projects\" was mounted by a client.");
  return annal_event_add_msgid_ex3(&record) == ANNAL_OK ? 0 : 1;
}
