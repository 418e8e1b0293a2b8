// Fills an event's record from texts, after checking every bound of the library.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/fields.h"
#include "tools/annalctl/import/cell.h"
#include "tools/annalctl/import/json_lines.h"
#include "tools/annalctl/import/log_line.h"

namespace annalctl::event {

extern const std::span<const TextField> kTextFields;

// The record of a line of another program's log, which has fewer fields.
[[nodiscard]] EventRecord record_of(const LogLine& line);

// The record of an object whose keys are the columns of the table. Throws Refusal for an unknown column and a value
// that does not fit.
[[nodiscard]] EventRecord record_of(const Members& members);

// What the library stores of a record.
[[nodiscard]] Cells cells_of(const EventRecord& record);

// The same for a record from an object: with the object's date, time and time stamp if it has all three, even if they
// differ.
[[nodiscard]] Cells cells_of(const EventRecord& record, const Members& members);

}  // namespace annalctl::event
