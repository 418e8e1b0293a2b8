// Filling a connection's record from texts, with every bound of the library checked first.
#pragma once

#include <span>
#include <vector>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/fields.h"
#include "tools/annalctl/import/formats.h"
#include "tools/annalctl/import/json_lines.h"

namespace annalctl::conn {

extern const std::span<const TextField> kTextFields;

// The record of somebody's wish to log in. The time when that was goes into the resource, because the log stamps its
// entries itself.
[[nodiscard]] ConnRecord record_of(const LogLine& line, const LogIn& log_in);

// The record of an object whose keys are the columns of the table. Throws Refusal for what is no column or does not
// fit.
[[nodiscard]] ConnRecord record_of(const std::vector<JsonMember>& members);

}  // namespace annalctl::conn
