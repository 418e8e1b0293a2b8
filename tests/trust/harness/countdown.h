// Decides which of a series of operations fails: the nth, once or from then on.
#pragma once

namespace annal::test {

enum class FaultDuration { kOnce, kFromThenOn };

class Countdown {
 public:
  void arm(int nth, FaultDuration lasting) noexcept { *this = Countdown(nth, lasting); }
  // Continues to count; nothing fails.
  void count_only() noexcept { *this = Countdown(0, FaultDuration::kOnce); }

  [[nodiscard]] bool strikes() noexcept {
    ++seen_;
    const bool now = nth_ > 0 && (lasting_ == FaultDuration::kOnce ? seen_ == nth_ : seen_ >= nth_);
    struck_ += now ? 1 : 0;
    return now;
  }

  [[nodiscard]] int seen() const noexcept { return seen_; }
  [[nodiscard]] int struck() const noexcept { return struck_; }

  Countdown() noexcept = default;

 private:
  Countdown(int nth, FaultDuration lasting) noexcept : nth_(nth), lasting_(lasting) {}

  int nth_ = 0;
  FaultDuration lasting_ = FaultDuration::kOnce;
  int seen_ = 0;
  int struck_ = 0;
};

}  // namespace annal::test
