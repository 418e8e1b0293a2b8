// A pager for what is longer than the screen.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace annalctl {

struct Screen {
  std::size_t width;
  std::size_t height;
};

// Keeps what is written until it is known whether it fits on the screen. What does goes straight to standard output,
// and more to $PAGER, or "less -FRX".
class Pager {
 public:
  explicit Pager(Screen screen) : screen_(screen) {}
  ~Pager() { end(); }
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

  // Throws WriteFailure when the pager was left before it had read everything.
  void write(std::string_view text);

  // What was kept, when it fits on the screen; then nothing more is kept.
  [[nodiscard]] std::string take_kept();

  // Waits until the pager is left.
  void end();

  [[nodiscard]] bool was_left() const { return left_; }

 private:
  void start();
  void hand_over(std::string_view text);

  Screen screen_;
  std::string kept_;
  std::size_t column_ = 0;  // where the next character comes on the screen
  std::size_t lines_ = 0;
  pid_t process_ = -1;
  int pipe_ = -1;
  bool left_ = false;
};

}  // namespace annalctl
