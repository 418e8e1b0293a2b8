// The text fields of a caller's record: fixed arrays that hold zero-terminated texts.
#pragma once

#include <cstddef>
#include <cstring>
#include <span>

namespace annal {

// The texts that stand for an absent value in every log.
inline constexpr char kAbsent[] = "---";
inline constexpr char kHostName[] = "localhost";
inline constexpr char kLocalAddress[] = "127.0.0.1";

// Copies at most width bytes of a text and fills the rest of the width with zero bytes. Callers compare and store
// whole fields, so the fill is part of what they rely on.
void fill_field(char* field, const char* text, std::size_t width) noexcept;

// How long the text of a field may be, and what becomes of a longer one.
struct FieldBound {
  std::size_t offset;
  std::size_t bound;        // in bytes, without the terminator
  const char* replacement;  // null: the record is refused; else the text that takes the field's place
};

// Checks the fields in order and stops at the first that refuses the record. Never reads behind a field.
[[nodiscard]] bool within_bounds(void* record, std::span<const FieldBound> fields) noexcept;

// What an empty field becomes.
struct FieldDefault {
  std::size_t offset;
  const char* text;
  std::size_t width;  // how many bytes of the field are written
};

void fill_empty_fields(void* record, std::span<const FieldDefault> fields) noexcept;

// The record, if its last text ends with it; else a copy of which that is true. The fields that come last have no
// bound, so that an overlong one runs on into the next; what lies behind the record is not the caller's to hand over.
// kTextsEnd: where the last field ends; an alignment byte behind it takes the copy's terminator.
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
