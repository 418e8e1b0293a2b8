// How a command that follows a log ends: ^C and SIGTERM mean success, and never cut a line.
#pragma once

namespace annalctl {

constexpr double kShortestInterval = 0.01;
constexpr double kLongestInterval = 86400;

void end_when_interrupted();

// While it exists, an interruption waits for the end of the batch.
class Writing {
 public:
  Writing();
  ~Writing();
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;
};

// Waits, and notices if the reader goes away meanwhile: the next write may be hours ahead. Throws WriteFailure.
void wait_for_interval(double seconds);

}  // namespace annalctl
