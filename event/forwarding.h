// Handing a stored event to the appliance's other log consumers.
#pragma once

#include <cstddef>

#include "Corix_annal.h"

namespace annal {

// Where the last text of a record ends: as far as an unterminated one is read.
inline constexpr std::size_t kEventTextsEnd =
    offsetof(EventRecord, event_client_agent) + sizeof EventRecord::event_client_agent;

// Hands it to each in their order. Whatever fails does so silently: the event is stored, and that is what the caller
// was promised.
void forward(const EventRecord& record) noexcept;

}  // namespace annal
