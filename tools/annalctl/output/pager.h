// A pager for output that is longer than the screen.
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

// Buffers the output until it is clear whether it fits on the screen. If it does, it goes to standard output, otherwise
// to $PAGER, or "less -FRX".
class Pager {
 public:
  explicit Pager(Screen screen) : screen_(screen) {}
  ~Pager() { end(); }
  Pager(const Pager&) = delete;
  Pager& operator=(const Pager&) = delete;

  // Throws WriteFailure if the user has left the pager before it read everything.
  void write(std::string_view text);

  // The buffered output, if it fits on the screen; then nothing more is buffered.
  [[nodiscard]] std::string take_kept();

  // Waits until the user leaves the pager.
  void end();

  [[nodiscard]] bool was_left() const { return left_; }

 private:
  void start();
  void hand_over(std::string_view text);

  Screen screen_;
  std::string kept_;
  std::size_t column_ = 0;  // of the next character on the screen
  std::size_t lines_ = 0;
  pid_t process_ = -1;
  int pipe_ = -1;
  bool left_ = false;
};

}  // namespace annalctl
