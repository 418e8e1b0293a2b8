#include <cstdio>
#include <exception>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/program.h"

int main(int argc, char** argv) {
  try {
    return annalctl::run_program(argc, argv);
  } catch (const std::exception& error) {
    static_cast<void>(std::fprintf(stderr, "annalctl: %s\n", error.what()));
  }
  return annalctl::kFailure;
}
