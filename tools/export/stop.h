// The request to end, which wakes whatever waits.
#pragma once

#include <chrono>

namespace exporter {

class Stop {
 public:
  Stop();
  ~Stop();
  Stop(const Stop&) = delete;
  Stop& operator=(const Stop&) = delete;

  void request() noexcept;  // also from a signal handler

  [[nodiscard]] bool requested() const;
  // Readable once the end is requested: for poll(), beside a sink's own descriptors.
  [[nodiscard]] int descriptor() const { return descriptor_; }
  // Waits this long; true if the end was requested meanwhile.
  bool wait(std::chrono::milliseconds time) const;

 private:
  int descriptor_;
};

}  // namespace exporter
