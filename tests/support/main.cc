// Runs the tests of one program on a private appliance of their own.
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tests/support/namespace.h"

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
  if (!only_lists(argc, argv) && !annal::test::inside_private_appliance()) {
    const std::string problem = annal::test::enter_private_appliance();
    if (!problem.empty()) {
      std::fprintf(stderr, "The tests need a private appliance: %s\n", problem.c_str());
      return EXIT_FAILURE;
    }
    execv("/proc/self/exe", argv);
    std::perror("cannot start again on the private appliance");
    return EXIT_FAILURE;
  }
  // Local time differs from UTC, and by another offset in summer, on every machine alike.
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  testing::InitGoogleTest(&argc, argv);
  return RUN_ALL_TESTS();
}
