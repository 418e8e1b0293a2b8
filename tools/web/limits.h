// What one request may cost. Whoever asks decides what for, so the process ends itself rather than go on.
#pragma once

namespace annal_web {

// Seconds of processor time, and by the clock.
struct TimeLimits {
  unsigned processor;
  unsigned clock;
};
constexpr TimeLimits kPageLimits{2, 5};
// As long as it goes on; the clock's is for one write to a reader that takes nothing.
constexpr TimeLimits kDownloadLimits{60, 60};

// Before anything else. From then on a request that takes too long is answered with a page that says so.
void limit_memory_and_files();
void limit_time(const TimeLimits& limits);
// Begins the clock's limit again.
void went_on(const TimeLimits& limits);

// From now on a request that takes too long is cut off, as it has been answered in part.
void answer_has_begun();

}  // namespace annal_web
