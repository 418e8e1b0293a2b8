// What the device's commands learn about the client that caused an entry.
#pragma once

#include "common/argument_vector.h"

namespace annal {

// Each is a text, or a null pointer if the entry has none. Then the web server's variables are consulted, because a CGI
// program may know its client from nothing else.
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
