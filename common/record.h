// The text fields of a caller's record: fixed arrays that hold zero-terminated texts.
#pragma once

#include <cstddef>
#include <cstring>
#include <span>

namespace annal {

// The texts that every log stores for an absent value.
inline constexpr char kAbsent[] = "---";
inline constexpr char kHostName[] = "localhost";
inline constexpr char kLocalAddress[] = "127.0.0.1";

// Copies at most width bytes of a text and fills the rest of the width with zero bytes. Callers compare and store whole
// fields, so they rely on the fill.
void fill_field(char* field, const char* text, std::size_t width) noexcept;

// The maximum length of a field's text, and what happens to a longer one.
struct FieldBound {
  std::size_t offset;
  std::size_t bound;        // in bytes, excluding the terminator
  const char* replacement;  // null: the record is refused; otherwise the text that replaces the field
};

// Checks the fields in order and stops at the first that refuses the record. Never reads beyond a field.
[[nodiscard]] bool within_bounds(void* record, std::span<const FieldBound> fields) noexcept;

// The default for an empty field.
struct FieldDefault {
  std::size_t offset;
  const char* text;
  std::size_t width;  // number of bytes of the field that are written
};

void fill_empty_fields(void* record, std::span<const FieldDefault> fields) noexcept;

// Returns the record if its last text is terminated, otherwise a copy in which it is. The last fields have no bound, so
// an overlong one runs on into the next; what follows the record in memory must not be read.
//
// kTextsEnd is the offset at which the last field ends; an alignment byte after it holds the copy's terminator.
template <std::size_t kTextsEnd, typename Record>
[[nodiscard]] const Record& terminated(const Record& record, Record& room_for_copy) noexcept {
  static_assert(kTextsEnd < sizeof record);
  if (reinterpret_cast<const char*>(&record)[kTextsEnd - 1] == '\0') {
    return record;
  }
  std::memcpy(&room_for_copy, &record, kTextsEnd);
  std::memset(reinterpret_cast<char*>(&room_for_copy) + kTextsEnd, 0, sizeof record - kTextsEnd);
  return room_for_copy;
}

}  // namespace annal
