// One run of the program, as its commands see it: where output goes, in which form, and how the run ends.
#pragma once

#include <string>

#include "tools/annalctl/base/failure.h"
#include "tools/annalctl/base/terminal.h"
#include "tools/annalctl/output/output.h"

namespace annalctl {

// Where the logs are, if they are not this appliance's own.
struct Place {
  std::string folder;  // empty: at their own places
  bool write = false;  // whether they may be changed
};

struct Session {
  View view;
  bool pager = true;
  Place place;
  Terminal terminal;
  Output output{stdout};
  int status = kSuccess;

  [[nodiscard]] Format format() const { return view.format; }
  [[nodiscard]] bool for_person() const { return view.format == Format::kTable || view.format == Format::kFull; }

  // From here on, output for a person that does not fit on the screen goes to a pager.
  void page() {
    if (pager && terminal.present && for_person()) {
      output.page({terminal.width, terminal.height});
    }
  }
};

}  // namespace annalctl
