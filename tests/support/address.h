// A row of the address checks' tests.
#pragma once

#include <ostream>

namespace annal::test {

struct Address {
  const char* name;
  const char* given;
  int result;
  const char* left;  // in the buffer after the check
};

inline void PrintTo(const Address& address, std::ostream* out) {
  *out << address.name;
}

}  // namespace annal::test
