// Filling the record of a file operation from texts, with every bound of the library checked first.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "Corix_annal.h"
#include "tools/annalctl/arguments/fields.h"
#include "tools/annalctl/import/cell.h"
#include "tools/annalctl/import/json_lines.h"

namespace annalctl::fileop {

extern const std::span<const TextField> kTextFields;

class Operation {
 public:
  FileOpRecord record{};
  std::string old_path;
  std::string path;

  // Puts a text into its field, so that it is stored as it is; the address must be one.
  void set_field(const TextField& field, std::string_view text);

  // Seconds since 1970. Throws Refusal for a time that the record cannot say.
  void set_time(std::int64_t seconds);

  // The library's result.
  [[nodiscard]] int store();
};

// The operation of an object whose keys are the columns of the table. Throws Refusal for what is no column or does not
// fit.
[[nodiscard]] Operation operation_of(const Members& members);

// What the library stores of an operation that has become of an object, with the object's date and time.
[[nodiscard]] Cells cells_of(const Operation& operation, const Members& members);

}  // namespace annalctl::fileop
