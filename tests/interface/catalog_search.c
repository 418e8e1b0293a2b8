/* Finds messages as docs/catalog.md shows it: that function stands here word for word. */
#include <stdio.h>
#include <string.h>

#include "Corix_annal.h"

const CatalogEntry* find(const CatalogEntry* list, const char* number);

const CatalogEntry* find(const CatalogEntry* list, const char* number) {
  for (++list; list->app_id != NULL; ++list) {
    if (strcmp(list->msg_no, number) == 0) {
      return list;
    }
  }
  return NULL;
}

int main(void) {
  const CatalogEntry* const found = find(A011_list, "7");
  if (found == NULL || strcmp(found->app_id, "A011") != 0 || strstr(found->msg_template, "UPS power loss") == NULL ||
      find(A011_list, "") != NULL || find(A011_list, "9999") != NULL) {
    fputs("the message is not found, or another one is\n", stderr);
    return 1;
  }
  return 0;
}
