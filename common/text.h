// A text that SQLite's formatter built, freed when its owner leaves the scope.
#pragma once

#include <sqlite3.h>

namespace annal {

class Text {
 public:
  // Takes over what sqlite3_mprintf returned; a null pointer is a text that could not be built.
  explicit Text(char* built) noexcept : text_(built) {}
  ~Text() { sqlite3_free(text_); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;

  [[nodiscard]] bool built() const noexcept { return text_ != nullptr; }
  [[nodiscard]] const char* c_str() const noexcept { return text_; }

 private:
  char* text_;
};

}  // namespace annal
