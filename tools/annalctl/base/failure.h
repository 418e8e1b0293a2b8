// How the tool fails: its exit status and the exceptions that end a command.
#pragma once

#include <stdexcept>
#include <string>

namespace annalctl {

enum ExitStatus : int {
  kSuccess = 0,
  kFailure = 1,  // the library reported a failure, or some lines of an import were refused
  kUsage = 2,    // the command line was wrong, and nothing was done
};

// An input that is not accepted: wrong usage on the command line, a bad line in an imported file.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Standard output cannot be written any more.
class WriteFailure : public std::runtime_error {
 public:
  explicit WriteFailure(int error);
  // The reader has gone, as in "| head": there is no one to report it to.
  [[nodiscard]] bool reader_gone() const { return reader_gone_; }

 private:
  bool reader_gone_;
};

[[nodiscard]] std::string system_message(int error);

// Prints one line to standard error, "annalctl: " in front. Texts from logs and files may be part of the sentence:
// whatever could steer a terminal is escaped.
void complain(const std::string& sentence);

// The same without the prefix, for messages that begin with a file and a line.
void complain_bare(const std::string& sentence);

}  // namespace annalctl
