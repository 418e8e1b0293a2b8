// Ctrl-C and SIGTERM while something is under way that is to end in order.
#pragma once

namespace annalctl {

// From now on these signals are noted and interrupt what waits, and do not end the process. A second one does.
void catch_stop_signals();

// Which of them has come; a null pointer when none has.
[[nodiscard]] const char* stop_signal();

}  // namespace annalctl
