/*
 * A program may put a list of its own in the place of the exported one, and leave facilities without a name. Such a one
 * has an empty name.
 */
#include <string.h>

#include "Corix_annal.h"

const NoticeFacility notice_facility_list[22] = {{0, "ONLY"}, {1, 0}};

int main(void) {
  char name[] = "untouched";
  if (Get_Facility_String_By_Facility(0, name, (int)sizeof name) != 0 || strcmp(name, "ONLY") != 0) {
    return 1;
  }
  if (Get_Facility_String_By_Facility(1, name, (int)sizeof name) != 0 || name[0] != '\0') {
    return 2;
  }
  return 0;
}
