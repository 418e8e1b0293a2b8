// What annalctl itself deletes is declared gone in the log's chain, when it has one.
#pragma once

namespace annalctl {

void declare_deletions();

}  // namespace annalctl
