// What the device's commands learn about the client that caused an entry.
#pragma once

#include "common/argument_vector.h"

namespace annal {

// Each is a text, or null if the entry has none. A null one comes from the web server's environment variables, which
// may be all that a CGI program knows of its client.
struct ClientDetails {
  const char* id;
  const char* app;
  const char* agent;
};

// "client_id=…", or "--client_id=…".
enum class Key { kPlain, kOption };

// Adds client_id, client_app and client_agent, omitting those that are unknown.
void add_client_details(ArgumentVector& arguments, Key key, const ClientDetails& details) noexcept;

// For details from a record, where an empty text means none.
[[nodiscard]] constexpr const char* unless_empty(const char* text) noexcept {
  return *text != '\0' ? text : nullptr;
}

}  // namespace annal
