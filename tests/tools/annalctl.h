// Runs the tool as its users do: as a program, with its output read back.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/appliance.h"

struct Finished {
  int status = -1;  // the exit status; -1 when a signal ended it
  std::string out;
  std::string err;
};

// Runs the program that was built with these tests. out_path: where standard output goes instead of being
// read back.
[[nodiscard]] Finished annalctl(const std::vector<std::string>& arguments, const std::string& input = {},
                                const char* out_path = nullptr);

// The same at a terminal of its own, where a person has typed something.
[[nodiscard]] Finished annalctl_at_terminal(const std::vector<std::string>& arguments, const std::string& typed);

[[nodiscard]] std::vector<std::string> lines_of(const std::string& text);

class AnnalctlTest : public annal::test::ApplianceTest {};

// With an event log that is there already.
class AnnalctlEventTest : public AnnalctlTest {
 protected:
  void SetUp() override {
    AnnalctlTest::SetUp();
    const Finished created = annalctl({"event", "create"});
    ASSERT_EQ(created.status, 0) << created.err;
  }

  // The number of entries, or -1.
  static int count(const std::vector<std::string>& options = {}) {
    std::vector<std::string> arguments{"event", "count"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Finished counted = annalctl(arguments);
    return counted.status == 0 ? std::stoi(counted.out) : -1;
  }
};
