// A number of a log's entries in words.
#pragma once

#include <cstdint>
#include <string>

#include "tools/annalctl/base/log.h"

namespace annalctl {

// "1 event", "2 events".
[[nodiscard]] std::string number_of(std::int64_t count, const Log& log);

}  // namespace annalctl
