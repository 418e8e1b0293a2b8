// One run of the program, as its commands see it: where output goes, in which form, and how the run ends.
#pragma once

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/terminal.h"
#include "tools/annalctl/output/output.h"

namespace annalctl {

struct Session {
  bool json = false;
  bool csv = false;
  Terminal terminal;
  Output output{stdout};
  int status = kSuccess;

  [[nodiscard]] Format format() const {
    if (json) {
      return Format::kJson;
    }
    return csv ? Format::kCsv : Format::kTable;
  }
};

}  // namespace annalctl
