// Points of time as texts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace annalctl {

enum class Zone {
  kLocal,
  kUtc,
};

// "2026-11-21T10:00:00+01:00", or with "Z"; nothing for a time that has no such text.
[[nodiscard]] std::optional<std::string> iso_text(std::int64_t seconds, Zone zone);

// "2026-11-21 10:00:00"
[[nodiscard]] std::optional<std::string> plain_text(std::int64_t seconds, Zone zone);

}  // namespace annalctl
