/* The minimal caller: loads the library and calls it once. */
#include "Corix_annal.h"

int main(void) {
#ifdef NAMES_AN_ARRAY
  if (A002_list[0].level != 0) {
    return 1;
  }
#endif
  return ChangeLogTypeToNoticeSeverity(2) == 3 ? 0 : 1;
}
