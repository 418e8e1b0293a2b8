// What the device's commands are told about the client behind an entry.
#pragma once

#include "common/argument_vector.h"

namespace annal {

// Each a text, or a null pointer where the entry has none: then the web server's variables are asked, because an entry
// may be made in a CGI program that knows its client from nothing else.
struct ClientDetails {
  const char* id;
  const char* app;
  const char* agent;
};

// "client_id=…", or "--client_id=…".
enum class Key { kPlain, kOption };

// Adds client_id, client_app and client_agent, and leaves out what is not known.
void add_client_details(ArgumentVector& arguments, Key key, const ClientDetails& details) noexcept;

// For details that stand in a record, where an empty text means none.
[[nodiscard]] constexpr const char* unless_empty(const char* text) noexcept {
  return *text != '\0' ? text : nullptr;
}

}  // namespace annal
