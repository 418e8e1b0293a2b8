// The page's own files, for a server that does not hand them out by itself.
#pragma once

#include <string>

#include "tools/web/response.h"

namespace annal_web {

// Throws Refused for a file that there is not.
[[nodiscard]] Response static_file(const std::string& name);

}  // namespace annal_web
