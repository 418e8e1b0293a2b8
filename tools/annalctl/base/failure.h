// How the tool fails: its exit status and the exceptions that end a command.
#pragma once

#include <stdexcept>
#include <string>

namespace annalctl {

enum ExitStatus : int {
  kSuccess = 0,
  kFailure = 1,  // the library reported a failure, or some lines of an import were refused
  kUsage = 2,    // nothing was done, because of what was asked for
};

// An input that cannot be taken as it is: on the command line it is wrong usage, in an imported file a bad line.
class Refusal : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Standard output cannot be written any more.
class WriteFailure : public std::runtime_error {
 public:
  explicit WriteFailure(int error);
  // The reader has gone away, as in "| head": nobody is left who wants to hear of it.
  [[nodiscard]] bool reader_gone() const { return reader_gone_; }

 private:
  bool reader_gone_;
};

[[nodiscard]] std::string system_message(int error);

// Prints one line to standard error, "annalctl: " in front. Texts from logs and files may be part of the sentence:
// whatever could steer a terminal is escaped.
void complain(const std::string& sentence);

// The same without the prefix, for what names a file and a line instead.
void complain_bare(const std::string& sentence);

}  // namespace annalctl
