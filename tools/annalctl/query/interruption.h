// How a command ends that shows what is new until it is interrupted: ^C and SIGTERM are a success, and cut no line.
#pragma once

namespace annalctl {

constexpr double kShortestInterval = 0.01;
constexpr double kLongestInterval = 86400;

void end_when_interrupted();

// While it lives an interruption waits for the end of the batch.
class Writing {
 public:
  Writing();
  ~Writing();
  Writing(const Writing&) = delete;
  Writing& operator=(const Writing&) = delete;
};

// Waits, and notices meanwhile that the reader has gone away: the next write may be hours ahead. Throws WriteFailure.
void wait_for_interval(double seconds);

}  // namespace annalctl
