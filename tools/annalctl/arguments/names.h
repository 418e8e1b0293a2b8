// Names for the numbers whose meaning is the appliance's own: the services and actions of connections, and what was
// done to files. They are in a file that the appliance's maker or owner writes; numbers work with and without it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/annalctl/base/cli_types.h"

namespace annalctl {

enum class Named {
  kService,
  kAction,
  kOperation,
};

// Reads the names from this file instead of /etc/Corix_annal/names.tsv, which may be missing. Throws Refusal, with the
// line, for a file that cannot be read or has a line that says nothing.
void use_names(const std::string& file);

// The name of a number as it is stored; what is stored when it has none.
[[nodiscard]] std::string name_of_number(Named kind, std::string_view stored);

// A name may be written in either case.
[[nodiscard]] std::optional<std::int64_t> number_of_name(Named kind, std::string_view name);

// "7 SSH", in the order of the numbers.
[[nodiscard]] std::vector<std::string> numbers_and_names(Named kind);

// Lets an option that takes a number take its name, too.
CLI::Option* take_names(CLI::Option* option, Named kind);
[[nodiscard]] std::optional<Named> names_taken(const CLI::Option& option);

}  // namespace annalctl
