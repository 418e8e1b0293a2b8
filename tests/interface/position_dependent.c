/*
 * A program that is not position-independent keeps its own copy of an exported variable, and the library has to use
 * that copy. Built without PIE on purpose.
 */
#include "Corix_annal.h"

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
  return *librarys == 5 ? 0 : 3;
}
