// Owns a text that SQLite's formatter built.
#pragma once

#include <sqlite3.h>

#include <utility>

namespace annal {

class Text {
 public:
  Text() noexcept = default;
  // Takes ownership of sqlite3_mprintf's result; null means that the text could not be built.
  explicit Text(char* built) noexcept : text_(built) {}
  ~Text() { sqlite3_free(text_); }
  Text(const Text&) = delete;
  Text& operator=(const Text&) = delete;
  Text(Text&& other) noexcept : text_(std::exchange(other.text_, nullptr)) {}
  Text& operator=(Text&& other) noexcept {
    std::swap(text_, other.text_);
    return *this;
  }

  [[nodiscard]] bool built() const noexcept { return text_ != nullptr; }
  [[nodiscard]] const char* c_str() const noexcept { return text_; }

 private:
  char* text_ = nullptr;
};

}  // namespace annal
