// Handing a stored event to the appliance's other log consumers.
#pragma once

#include "Corix_annal.h"

namespace annal {

// Hands it to each in their order. Whatever fails does so silently: the event is stored, and that is what the caller
// was promised.
void forward(const EventRecord& record) noexcept;

}  // namespace annal
