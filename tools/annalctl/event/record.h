// Filling an event's record from texts, with every bound of the library checked first.
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

// The record of a line of some program's log, which knows fewer fields than ours.
[[nodiscard]] EventRecord record_of(const LogLine& line);

// The record of an object whose keys are the columns of the table. Throws Refusal for what is no column or does not
// fit.
[[nodiscard]] EventRecord record_of(const Members& members);

// What the library stores of a record.
[[nodiscard]] Cells cells_of(const EventRecord& record);

// The same for one that has become of an object: date, time and time stamp are those of the object, when it has all of
// them, even if they do not agree.
[[nodiscard]] Cells cells_of(const EventRecord& record, const Members& members);

}  // namespace annalctl::event
