// Fills a notice's record from texts, after checking every bound of the library.
#pragma once

#include <span>

#include "tools/annalctl/arguments/fields.h"
#include "tools/annalctl/import/cell.h"
#include "tools/annalctl/import/json_lines.h"

namespace annalctl::notice {

// The fields of NoticeRecord; the first is the text that 'add' takes without an option.
extern const std::span<const TextField> kTextFields;

// What the library stores of an object whose keys are the columns of the table; time and end are the object's. Throws
// Refusal for an unknown column and a value that does not fit.
[[nodiscard]] Cells cells_of(const Members& members);

}  // namespace annalctl::notice
