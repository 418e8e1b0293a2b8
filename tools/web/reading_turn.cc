// Takes an exclusive flock on the program's own file, retrying until the time is up.
#include "tools/web/reading_turn.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "tools/web/request.h"

namespace annal_web {

namespace {

using Clock = std::chrono::steady_clock;

constexpr useconds_t kPause = 2000;

}  // namespace

// The program's own file is the same for all of them, and needs no place of its own that somebody may write to.
ReadingTurn::ReadingTurn(std::chrono::milliseconds at_most)
    : descriptor_(open("/proc/self/exe", O_RDONLY | O_CLOEXEC)) {
  const auto end = Clock::now() + at_most;
  while (descriptor_ >= 0 && flock(descriptor_, LOCK_EX | LOCK_NB) != 0) {
    if (Clock::now() >= end) {
      close(descriptor_);
      constexpr int kUnavailable = 503;
      throw Refused(kUnavailable, "Many others are reading the logs just now. Try again in a few seconds.");
    }
    usleep(kPause);
  }
}

ReadingTurn::~ReadingTurn() {
  end();
}

void ReadingTurn::end() {
  if (descriptor_ >= 0) {
    close(descriptor_);
    descriptor_ = -1;
  }
}

}  // namespace annal_web
