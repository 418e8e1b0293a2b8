// Runs a test program on its own private appliance.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>

#include "appliance/namespace.h"

namespace {

bool only_lists(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--gtest_list_tests") == 0) {
      return true;
    }
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  if (!only_lists(argc, argv) && !annal::appliance::is_supervised()) {
    return annal::appliance::run_supervised_on_private_appliance("/proc/self/exe", argv);
  }
  // On every machine, local time differs from UTC, with another offset in summer.
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
