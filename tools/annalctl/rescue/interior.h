// Inspects an open log: whether this library can store and read in it.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/files/private_view.h"
#include "tools/annalctl/rescue/finding.h"

namespace annalctl {

// The files must be and stay locked. write_ahead: not open for a log without one. Changes nothing: tries the library's
// statements on a view of the files that it discards.
[[nodiscard]] Inspection look_inside(const Log& log, const RegularFile& file, const RegularFile& write_ahead);

// "annalctl fileop --db FILE salvage"
[[nodiscard]] std::string command_for(const Log& log, const char* verb);

}  // namespace annalctl
