// An eventfd that is written and never read, so that every poll on it wakes from then on.
#include "tools/export/stop.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <limits>
#include <system_error>

namespace exporter {

namespace {

bool readable(int descriptor, int milliseconds) {
  struct pollfd asked {
    .fd = descriptor, .events = POLLIN, .revents = 0
  };
  return poll(&asked, 1, milliseconds) > 0;
}

}  // namespace

Stop::Stop() : descriptor_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  if (descriptor_ < 0) {
    throw std::system_error(errno, std::generic_category(), "eventfd");
  }
}

Stop::~Stop() {
  close(descriptor_);
}

// NOLINTNEXTLINE(readability-make-member-function-const): who has a constant one is to look only
void Stop::request() noexcept {
  const int before = errno;
  constexpr std::uint64_t kOnce = 1;
  // It fails only if the request was made before.
  [[maybe_unused]] const ssize_t written = ::write(descriptor_, &kOnce, sizeof kOnce);
  errno = before;
}

bool Stop::requested() const {
  return readable(descriptor_, 0);
}

bool Stop::wait(std::chrono::milliseconds time) const {
  constexpr std::chrono::milliseconds::rep kMost = std::numeric_limits<int>::max();
  return readable(descriptor_, static_cast<int>(std::clamp<std::chrono::milliseconds::rep>(time.count(), 0, kMost)));
}

}  // namespace exporter
