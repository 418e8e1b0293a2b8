// Runs a test program on its own private appliance.
#include <gtest/gtest.h>

#include <cstdio>
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

// A library that ends its caller with status 0 must not pass for tests that all succeeded. So the program on the
// appliance reports these with a status of its own to the one that started it there.
constexpr int kAllPassed = 90;
constexpr char kReportVariable[] = "ANNAL_TESTS_REPORT_THEIR_END";

int run_on_private_appliance(char** argv) {
  setenv(kReportVariable, "1", 1);
  const int status = annal::appliance::run_supervised_on_private_appliance("/proc/self/exe", argv);
  if (status == EXIT_SUCCESS) {
    std::fputs("the tests were ended before the last of them\n", stderr);
    return EXIT_FAILURE;
  }
  return status == kAllPassed ? EXIT_SUCCESS : status;
}

}  // namespace

int main(int argc, char** argv) {
  if (!only_lists(argc, argv) && !annal::appliance::is_supervised()) {
    return run_on_private_appliance(argv);
  }
  // On every machine, local time differs from UTC, with another offset in summer.
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  testing::InitGoogleTest(&argc, argv);
  const bool reports = annal::appliance::is_supervised() && std::getenv(kReportVariable) != nullptr;
  unsetenv(kReportVariable);
  const int status = RUN_ALL_TESTS();
  return status == EXIT_SUCCESS && reports ? kAllPassed : status;
}
