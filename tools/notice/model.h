// The notice log as data: its file, its columns and the facilities that notices come from.
#pragma once

#include <string>
#include <vector>

#include "tools/log.h"

namespace annalctl::notice {

extern const Log kLog;

struct Facility {
  int number;
  std::string name;
};

[[nodiscard]] std::vector<Facility> facilities();

}  // namespace annalctl::notice
