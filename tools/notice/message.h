// The messages that notices can be sent for.
#pragma once

#include <string>

#include "Corix_annal.h"

namespace annalctl::notice {

// The message that an application's number stands for; a null pointer when none is known.
[[nodiscard]] const CatalogEntry* find_message(const std::string& application, const std::string& number);

}  // namespace annalctl::notice
