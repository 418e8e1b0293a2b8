// Fills the record of a file operation from texts, after checking every bound of the library.
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

  // Puts a text into its field so that it is stored unchanged. An address must be valid.
  void set_field(const TextField& field, std::string_view text);

  // Seconds since 1970. Throws Refusal for a time that the record cannot express.
  void set_time(std::int64_t seconds);

  // The library's result.
  [[nodiscard]] int store();
};

// The operation of an object whose keys are the columns of the table. Throws Refusal for an unknown column and a value
// that does not fit.
[[nodiscard]] Operation operation_of(const Members& members);

// What the library stores of an operation from an object, with the object's date and time.
[[nodiscard]] Cells cells_of(const Operation& operation, const Members& members);

}  // namespace annalctl::fileop
