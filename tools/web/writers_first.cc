// Watches the journal, which is there while a program adds an entry.
#include "tools/web/writers_first.h"

#include <unistd.h>

#include <algorithm>
#include <thread>

namespace annal_web {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::microseconds kLook{300};
// Then the reader goes on, so that it is not kept out by programs that write all the time.
constexpr std::chrono::milliseconds kLongestPause{8};
// Whoever has added an entry is likely to add more.
constexpr std::chrono::milliseconds kBusyFor{200};

}  // namespace

void WritersFirst::before_turn() {
  const auto begun = Clock::now();
  const auto end = begun + kLongestPause;
  if (begun < busy_until_) {
    std::this_thread::sleep_for(std::min<Clock::duration>(2 * lasted_, kLongestPause));
  }
  while (access(journal_.c_str(), F_OK) == 0) {
    busy_until_ = Clock::now() + kBusyFor;
    if (Clock::now() >= end) {
      return;
    }
    std::this_thread::sleep_for(kLook);
  }
}

}  // namespace annal_web
