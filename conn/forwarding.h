// Hands a connection to the appliance's other log consumers.
#pragma once

#include "Corix_annal.h"

namespace annal {

// Hands the connection to each consumer in turn. Failures are silent: a caller only learns about the log.
void forward(const ConnRecord& record) noexcept;

}  // namespace annal
