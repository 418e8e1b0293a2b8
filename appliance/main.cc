// private-appliance COMMAND [ARGUMENT...]: runs a command on a private appliance and returns its exit status.
#include <cstdio>

#include "appliance/namespace.h"

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fputs("usage: private-appliance COMMAND [ARGUMENT...]\n", stderr);
    return annal::appliance::kCannotRun;
  }
  return annal::appliance::run_supervised_on_private_appliance(argv[1], argv + 1);
}
