// Hands a stored event to the appliance's other log consumers.
#pragma once

#include <cstddef>

#include "Corix_annal.h"

namespace annal {

// Where the last text of a record ends: an unterminated one is read up to here.
inline constexpr std::size_t kEventTextsEnd =
    offsetof(EventRecord, event_client_agent) + sizeof EventRecord::event_client_agent;

// Hands the event to each consumer in turn. Failures are silent: the event is stored, which is what the caller was
// promised.
void forward(const EventRecord& record) noexcept;

}  // namespace annal
