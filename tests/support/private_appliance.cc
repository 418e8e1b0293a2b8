// private-appliance COMMAND [ARGUMENT...]: runs a command on a private appliance and answers with its exit status.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tests/support/namespace.h"

int main(int argc, char** argv) {
  constexpr int kCannotRun = 125;
  if (argc < 2) {
    std::fputs("usage: private-appliance COMMAND [ARGUMENT...]\n", stderr);
    return kCannotRun;
  }
  const std::string problem = annal::test::enter_private_appliance();
  if (!problem.empty()) {
    std::fprintf(stderr, "private-appliance: %s\n", problem.c_str());
    return kCannotRun;
  }
  execvp(argv[1], argv + 1);
  std::fprintf(stderr, "private-appliance: %s: %s\n", argv[1], std::strerror(errno));
  return kCannotRun;
}
