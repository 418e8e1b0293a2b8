/*
 * A program may put a list of its own in the place of the exported one. What is not listed has the first one's name,
 * and one that is left without a name has an empty one.
 */
#include <string.h>

#include "Corix_annal.h"

const NoticeFacility notice_facility_list[22] = {{0, "ONLY"}, {1, 0}};

int main(void) {
  char name[] = "untouched";
  if (Get_Facility_String_By_Facility(0, name, (int)sizeof name) != 0 || strcmp(name, "ONLY") != 0) {
    return 1;
  }
  if (Get_Facility_String_By_Facility(21, name, (int)sizeof name) != 0 || strcmp(name, "ONLY") != 0 ||
      Get_Facility_String_By_Facility(-1, name, (int)sizeof name) != 0 || strcmp(name, "ONLY") != 0) {
    return 3;
  }
  if (Get_Facility_String_By_Facility(1, name, (int)sizeof name) != 0 || name[0] != '\0') {
    return 2;
  }
  return 0;
}
