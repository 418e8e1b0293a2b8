// What is sent of a log: its entries, and what has to be said about them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace exporter {

// Where records come from. With the kind and the id of a record this is its key, by which a receiver tells a repeated
// record from a new one.
struct Stream {
  std::string appliance;        // its machine-id, 32 hexadecimal digits
  std::string log;              // "event", "conn", "fileop" or "notice"
  std::int64_t generation = 1;  // one higher each time the log was created again, since its ids begin again then
};

enum class Kind {
  kEntry,
  kGap,        // entries that were deleted before they were sent
  kRedaction,  // an entry that may have been sent before and whose content was since blanked out; it replaces that one
  kHead,       // how far the log is sealed, signed: see annalctl's proof/head.h
};

// "entry", "gap", "redaction" or "head".
[[nodiscard]] std::string_view name_of(Kind kind);

// Null, a number, or a text in valid UTF-8 without NUL.
using Value = std::variant<std::monostate, std::int64_t, std::string_view>;

struct Field {
  std::string_view name;  // the log's own column
  Value value;
};

// The texts and fields belong to the batch.
struct Record {
  Kind kind = Kind::kEntry;
  std::int64_t id = 0;     // of a gap: the first id that is missing; of a head: its number within its chain
  std::int64_t count = 1;  // of a gap: how many are missing in a row. The ids up to id + count - 1 were deleted.

  // The rest is about an entry or a redaction. A gap has only the time when it was found, a head that of its sealing,
  // and that time's date. A redaction of an entry that was deleted since has only the entry's date and time.

  std::string_view date{};  // as stored, "2026-11-21"; always a valid date: "1970-01-01" if none was stored
  std::string_view time{};  // as stored, "10:00:00"; "00:00:00" if none was stored
  std::optional<std::int64_t> seconds{};  // since 1970, as far as it can be told
  std::string_view level{};               // "information", "warning", "error"; of a notice also syslog's other names
  int severity = 6;                       // the level as syslog numbers it, 0 to 7
  std::string_view message{};             // one of the fields' texts: what the entry says to people
  std::span<const Field> fields{};        // all columns, in the log's order; the first is the id

  // Of a head.
  std::string_view chain{};  // its id, 32 hexadecimal digits
  std::string_view head{};   // a line of JSON, as "annalctl verify --anchor" takes it
};

// Whether it says what became of one of the log's own rows.
[[nodiscard]] inline bool has_row(Kind kind) {
  return kind == Kind::kEntry || kind == Kind::kRedaction;
}

// Records of one log in the order of their ids.
struct Batch {
  const Stream& stream;
  std::span<const Record> records;
  // For a receiver that acknowledges a batch in parts, far apart: called while the batch is delivered, it saves a
  // position, so that a kill costs less. The argument is as Outcome::acknowledged. May be null. Throws.
  const std::function<void(std::size_t)>* acknowledged_so_far = nullptr;
};

// The key as one text without blanks: "APPLIANCE/event/1/4711", ".../gap/4711+20", ".../redaction/4711",
// ".../head/CHAIN/17".
[[nodiscard]] std::string key_of(const Stream& stream, const Record& record);

// A record as one JSON object without a line end. Every sink that sends JSON sends this form, and docs/fleet.md
// describes it:
//   {"appliance":…,"log":…,"generation":1,"kind":"entry","id":4711,"date":…,"time":…,"timestamp":1795255200,
//    "level":…,"severity":4,"message":…,"fields":{COLUMN:VALUE,…}}
//   {"appliance":…,"log":…,"generation":1,"kind":"gap","id":4711,"count":20,"date":…,"time":…,"timestamp":…}
//   {"appliance":…,"log":…,"generation":1,"kind":"head","id":17,"date":…,"time":…,"timestamp":…,"head":{…}}
[[nodiscard]] std::string json_of(const Stream& stream, const Record& record);

// What a record says to people: an entry's message, or a sentence.
[[nodiscard]] std::string text_of(const Stream& stream, const Record& record);

}  // namespace exporter
