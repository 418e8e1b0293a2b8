// Runs the tool as its users do: as a program, with its output read back.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdio>
#include <memory>
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

// One that runs on while the test does something else.
class RunningAnnalctl {
 public:
  // out: where standard output goes instead of being read back; the descriptor stays the caller's.
  explicit RunningAnnalctl(const std::vector<std::string>& arguments, int out = -1);
  ~RunningAnnalctl();
  RunningAnnalctl(const RunningAnnalctl&) = delete;
  RunningAnnalctl& operator=(const RunningAnnalctl&) = delete;

  // What it has written, once there are this many lines. After twenty seconds, what there is.
  [[nodiscard]] std::vector<std::string> wait_for_lines(std::size_t count) const;
  // The same for a text on standard error.
  [[nodiscard]] std::string wait_for_error(const std::string& text) const;
  // Whether it has the file open, within twenty seconds.
  [[nodiscard]] bool comes_to_open(const std::string& path) const;

  // Holds it up while the test does what it must not see the half of.
  void pause() const;
  void resume() const;

  // Waits for its end, after a signal when one is given.
  [[nodiscard]] Finished finish(int signal = 0);

 private:
  struct CloseFile {
    void operator()(std::FILE* file) const { static_cast<void>(std::fclose(file)); }
  };
  using File = std::unique_ptr<std::FILE, CloseFile>;

  File out_;
  File err_;
  pid_t process_ = -1;
};

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
