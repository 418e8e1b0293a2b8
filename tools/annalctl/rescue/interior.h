// What a log's file says when it is opened: whether this library can store and read in it.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/annalctl/base/log.h"
#include "tools/annalctl/files/private_view.h"
#include "tools/annalctl/rescue/finding.h"

namespace annalctl {

// The files must be locked, and stay so. write_ahead: not open for a log without one. Changes nothing: what the library
// would do is tried on a view of them that is thrown away.
[[nodiscard]] Inspection look_inside(const Log& log, const RegularFile& file, const RegularFile& write_ahead);

// "annalctl fileop --db FILE salvage"
[[nodiscard]] std::string command_for(const Log& log, const char* verb);

}  // namespace annalctl
