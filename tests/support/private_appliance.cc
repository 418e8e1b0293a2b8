// private-appliance COMMAND [ARGUMENT...]: runs a command on a private appliance and answers with its exit status.
#include <cstdio>

#include "tests/support/namespace.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fputs("usage: private-appliance COMMAND [ARGUMENT...]\n", stderr);
    return annal::test::kCannotRun;
  }
  return annal::test::run_kept_on_private_appliance(argv[1], argv + 1);
}
