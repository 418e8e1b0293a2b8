#include "common/client_details.h"

#include <cstdlib>
#include <string_view>

namespace annal {

namespace {

struct Detail {
  const char* ClientDetails::*known;
  std::string_view key;
  const char* variable;
};

constexpr Detail kDetails[] = {
    {&ClientDetails::id, "client_id=", "HTTP_CLIENT_ID"},
    {&ClientDetails::app, "client_app=", "HTTP_CLIENT_APP"},
    {&ClientDetails::agent, "client_agent=", "HTTP_CLIENT_AGENT"},
};

}  // namespace

void add_client_details(ArgumentVector& arguments, std::string_view prefix, const ClientDetails& details) noexcept {
  for (const auto& [known, key, variable] : kDetails) {
    const char* value = details.*known;
    if (value == nullptr) {
      value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): callers keep the environment still
    }
    if (value != nullptr) {
      arguments.join({prefix, key, value});
    }
  }
}

}  // namespace annal
