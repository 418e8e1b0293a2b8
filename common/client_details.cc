// Adds what is known of an entry's client to a command's arguments.
#include "common/client_details.h"

#include <cstddef>
#include <cstdlib>
#include <string_view>

namespace annal {

namespace {

struct Detail {
  const char* ClientDetails::*known;
  std::string_view option;
  const char* variable;
};

constexpr std::size_t kDashes = 2;
constexpr Detail kDetails[] = {
    {&ClientDetails::id, "--client_id=", "HTTP_CLIENT_ID"},
    {&ClientDetails::app, "--client_app=", "HTTP_CLIENT_APP"},
    {&ClientDetails::agent, "--client_agent=", "HTTP_CLIENT_AGENT"},
};

}  // namespace

void add_client_details(ArgumentVector& arguments, Key key, const ClientDetails& details) noexcept {
  for (const auto& [known, option, variable] : kDetails) {
    const char* value = details.*known;
    if (value == nullptr) {
      value = std::getenv(variable);  // NOLINT(concurrency-mt-unsafe): callers keep the environment still
    }
    if (value == nullptr) {
      continue;
    }
    std::string_view name = option;
    if (key == Key::kPlain) {
      name.remove_prefix(kDashes);
    }
    arguments.join(name, value);
  }
}

}  // namespace annal
