/*
 * A program that is not position-independent keeps its own copy of an exported object. The library has to use that copy
 * of a variable; a table's copy has to be whole. Built without PIE on purpose.
 */
#include <string.h>

#include "Corix_annal.h"

static int rows_of(const CatalogEntry* list) {
  int rows = 1;
  while (list->app_id != 0) {
    ++list;
    ++rows;
  }
  return rows;
}

int main(void) {
  int* librarys;
  if (is_event_name_matching != 0) {
    return 1;
  }
  librarys = annal_event_enable_name_matching(7);
  if (librarys != &is_event_name_matching || is_event_name_matching != 1) {
    return 2;
  }
  is_event_name_matching = 5;
  if (*librarys != 5) {
    return 3;
  }
  if (rows_of(A002_list) != 1291 || rows_of(A011_list) != 21) {
    return 4;
  }
  return strcmp(A011_list[1].msg_template, "[External Device] Added printer {0}.") == 0 ? 0 : 5;
}
