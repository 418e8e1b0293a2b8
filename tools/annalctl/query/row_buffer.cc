// Holds rows that were read and not yet written.
#include "tools/annalctl/query/row_buffer.h"

#include <algorithm>
#include <new>

namespace annalctl {

namespace {
constexpr std::size_t kNull = static_cast<std::size_t>(-1);
}

void RowBuffer::add(const SqliteStatement& statement, int first) {
  sqlite3_stmt* const handle = statement.handle();
  const int columns = sqlite3_column_count(handle);
  for (int i = first; i < columns; ++i) {
    const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(handle, i));
    if (text == nullptr) {
      if (sqlite3_errcode(sqlite3_db_handle(handle)) == SQLITE_NOMEM) {
        throw std::bad_alloc();
      }
      offsets_.push_back(kNull);
      continue;
    }
    offsets_.push_back(bytes_.size());
    bytes_.append(text).push_back('\0');
  }
  ids_.push_back(statement.integer(0));
}

void RowBuffer::clear() {
  bytes_.clear();
  offsets_.clear();
  ids_.clear();
}

void RowBuffer::keep_only(std::size_t first, std::size_t rows) {
  const std::size_t columns = ids_.empty() ? 0 : offsets_.size() / ids_.size();
  first = std::min(first, size());
  const std::size_t end = first + std::min(rows, size() - first);
  const auto cut = [](auto& list, std::size_t from, std::size_t to) {
    list.erase(list.begin() + static_cast<std::ptrdiff_t>(to), list.end());
    list.erase(list.begin(), list.begin() + static_cast<std::ptrdiff_t>(from));
  };
  cut(offsets_, first * columns, end * columns);
  cut(ids_, first, end);
}

std::vector<const char*> RowBuffer::values(std::size_t row) const {
  const std::size_t columns = offsets_.size() / ids_.size();
  std::vector<const char*> pointers;
  pointers.reserve(columns);
  for (std::size_t i = row * columns; i < (row + 1) * columns; ++i) {
    pointers.push_back(offsets_[i] == kNull ? nullptr : bytes_.data() + offsets_[i]);
  }
  return pointers;
}

}  // namespace annalctl
