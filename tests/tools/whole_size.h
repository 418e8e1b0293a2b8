// Whether tests with a sample of damages or kills run at their whole size.
#pragma once

#include <cstdlib>
#include <string_view>

inline bool at_whole_size() {
  const char* const walk = std::getenv("ANNAL_TRUST");
  return walk != nullptr && std::string_view(walk) == "whole";
}
