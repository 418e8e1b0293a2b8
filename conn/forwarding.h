// Handing a connection to the appliance's other log consumers.
#pragma once

#include "Corix_annal.h"

namespace annal {

// Hands it to each in their order. Whatever fails does so silently: a caller is told of the log alone.
void forward(const ConnRecord& record) noexcept;

}  // namespace annal
