// Fills a connection's record from texts, after checking every bound of the library.
#pragma once

#include <cstdint>
#include <span>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/fields.h"
#include "tools/annalctl/import/cell.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/json_lines.h"

namespace annalctl::conn {

extern const std::span<const TextField> kTextFields;

// The record of a log-in, successful or not.
[[nodiscard]] ConnRecord record_of(const LogLine& line, const LogIn& log_in);

// For the library, which stamps entries with the current time: puts the time of the log-in before the resource.
void put_time_into_resource(ConnRecord& record, std::int64_t time);

// The record of an object whose keys are the columns of the table. Throws Refusal for an unknown column and a value
// that does not fit.
[[nodiscard]] ConnRecord record_of(const Members& members);

// What a batch stores of a record. Until set_time is called, date and time are left to the log.
[[nodiscard]] Cells cells_of(const ConnRecord& record);
void set_time(Cells& cells, std::int64_t time);

// The same for a record from an object, with the object's date and time.
[[nodiscard]] Cells cells_of(const ConnRecord& record, const Members& members);

}  // namespace annalctl::conn
