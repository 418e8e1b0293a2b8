// The entry point of annalctl.
#include <exception>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/program.h"

int main(int argc, char** argv) {
  try {
    return annalctl::run_program(argc, argv);
  } catch (const std::exception& error) {
    annalctl::complain(error.what());
  }
  return annalctl::kFailure;
}
