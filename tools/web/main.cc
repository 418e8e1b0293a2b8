// The entry point of annal-web.
#include <exception>

#include "tools/annalctl/base/failure.h"
#include "tools/web/program.h"

int main() {
  try {
    return annal_web::answer_request();
  } catch (const std::exception& error) {
    // Into the server's error log.
    annalctl::complain(error.what());
  }
  return annalctl::kFailure;
}
