// Error messages, and the exceptions that carry them.
#include "tools/annalctl/base/failure.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/program_name.h"

namespace annalctl {

namespace {

const char* program_name = "annalctl";

}  // namespace

std::string system_message(int error) {
  return std::generic_category().message(error);
}

WriteFailure::WriteFailure(int error)
    : std::runtime_error("cannot write to standard output: " + system_message(error)), reader_gone_(error == EPIPE) {}

void complain_bare(const std::string& sentence) {
  // One call for each line: standard error is unbuffered, and other programs may write between two calls. There is no
  // better place to report a failure of this one.
  const std::string line = printable(sentence) + "\n";
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
}

void complain(const std::string& sentence) {
  complain_bare(std::string(program_name) + ": " + sentence);
}

void name_program(const char* name) {
  program_name = name;
}

}  // namespace annalctl
