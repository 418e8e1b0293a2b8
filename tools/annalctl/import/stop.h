// Lets work end in order after Ctrl-C or SIGTERM.
#pragma once

namespace annalctl {

// From now on these signals are recorded and interrupt waits, but do not end the process. A second one does.
void catch_stop_signals();

// Which of them has come; null if none has.
[[nodiscard]] const char* stop_signal();

}  // namespace annalctl
