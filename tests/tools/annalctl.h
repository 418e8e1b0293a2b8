// Runs annalctl as a program, as users do, and captures its output.
#pragma once

#include <gtest/gtest.h>
#include <sys/types.h>

#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tests/support/appliance.h"

struct Finished {
  int status = -1;  // the exit status; -1 if a signal killed it
  std::string out;
  std::string err;
};

// Runs the program that was built with these tests. out_path: a file for standard output, which is then not captured.
[[nodiscard]] Finished annalctl(const std::vector<std::string>& arguments, const std::string& input = {},
                                const char* out_path = nullptr);

// The same at a new terminal with some typed input.
[[nodiscard]] Finished annalctl_at_terminal(const std::vector<std::string>& arguments, const std::string& typed);

// A run in the background.
class RunningAnnalctl {
 public:
  // out: a descriptor for standard output, which is then not captured; the caller keeps ownership.
  explicit RunningAnnalctl(const std::vector<std::string>& arguments, int out = -1);
  ~RunningAnnalctl();
  RunningAnnalctl(const RunningAnnalctl&) = delete;
  RunningAnnalctl& operator=(const RunningAnnalctl&) = delete;

  // Returns its output once it has this many lines, or after twenty seconds.
  [[nodiscard]] std::vector<std::string> wait_for_lines(std::size_t count) const;
  // The same, until standard error contains a text.
  [[nodiscard]] std::string wait_for_error(const std::string& text) const;
  // Returns whether it opens the file within twenty seconds.
  [[nodiscard]] bool comes_to_open(const std::string& path) const;

  // Stops it while the test makes a change that it must not see half of.
  void pause() const;
  void resume() const;

  // Waits for its end, after sending a signal if one is given.
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

// With an existing event log.
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
