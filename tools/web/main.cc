// The entry point of annal-web.
#include <exception>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/program_name.h"
#include "tools/web/program.h"

int main() {
  annalctl::name_program("annal-web");
  try {
    return annal_web::answer_request();
  } catch (const std::exception& error) {
    // Into the server's error log.
    annalctl::complain(error.what());
  }
  return annalctl::kFailure;
}
