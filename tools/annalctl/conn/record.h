// Filling a connection's record from texts, with every bound of the library checked first.
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

// The record of somebody's wish to log in.
[[nodiscard]] ConnRecord record_of(const LogLine& line, const LogIn& log_in);

// For the library, which stamps entries with the time at which they are stored: when it was goes before the resource.
void put_time_into_resource(ConnRecord& record, std::int64_t time);

// The record of an object whose keys are the columns of the table. Throws Refusal for what is no column or does not
// fit.
[[nodiscard]] ConnRecord record_of(const Members& members);

// What the library stores of a record in a batch. Date and time are left to the log, until they are set.
[[nodiscard]] Cells cells_of(const ConnRecord& record);
void set_time(Cells& cells, std::int64_t time);

// The same for a record that has become of an object, with its date and time.
[[nodiscard]] Cells cells_of(const ConnRecord& record, const Members& members);

}  // namespace annalctl::conn
