// An exported helper: frees a text of SQLite's through the pointer that owns it.
#include <sqlite3.h>

#include "Corix_annal.h"

void auto_free_str(void* slot) noexcept {
  auto* const text = static_cast<char**>(slot);
  if (text != nullptr && *text != nullptr) {
    sqlite3_free(*text);
    *text = nullptr;
  }
}
