// A number of bytes for people.
#pragma once

#include <cstdint>
#include <string>

namespace annalctl {

// "512 bytes", "1.5 MiB"
[[nodiscard]] std::string bytes_text(std::int64_t bytes);

}  // namespace annalctl
