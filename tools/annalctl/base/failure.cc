// Error messages, and the exceptions that carry them.
#include "tools/annalctl/base/failure.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

std::string system_message(int error) {
  return std::generic_category().message(error);
}

WriteFailure::WriteFailure(int error)
    : std::runtime_error("cannot write to standard output: " + system_message(error)), reader_gone_(error == EPIPE) {}

void complain_bare(const std::string& sentence) {
  // One call a line: standard error is unbuffered, and lines of other programs may come between two calls. There is
  // no better place to report that this one fails.
  const std::string line = printable(sentence) + "\n";
  static_cast<void>(std::fwrite(line.data(), 1, line.size(), stderr));
}

void complain(const std::string& sentence) {
  complain_bare("annalctl: " + sentence);
}

}  // namespace annalctl
