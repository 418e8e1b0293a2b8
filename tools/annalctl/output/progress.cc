// Shows on the terminal how far an import has come.
#include "tools/annalctl/output/progress.h"

#include <fmt/format.h>

#include <cstdio>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {

constexpr std::chrono::milliseconds kInterval{100};
constexpr int kBarWidth = 20;

void put(const std::string& text) {
  static_cast<void>(std::fwrite(text.data(), 1, text.size(), stderr));
}

}  // namespace

std::string progress_text(const std::string& name, std::optional<int> percent, std::uint64_t count, const char* entries,
                          std::size_t width) {
  std::string text;
  if (percent) {
    const int filled = *percent * kBarWidth / 100;
    text = fmt::format("{:3}% [{:#<{}}{:{}}] ", *percent, "", filled, "", kBarWidth - filled);
  }
  text += fmt::format("{} {}  {}", count, entries, printable(name));
  return clipped(text, width == 0 ? 0 : width - 1);
}

void Progress::show(const std::string& name, std::optional<int> percent, std::uint64_t count, const char* entries) {
  const auto now = std::chrono::steady_clock::now();
  if (!terminal_.present || (drawn_ && now - last_ < kInterval)) {
    return;
  }
  // The cursor goes back at once, so that the next output, even a shell's after an interrupt, starts the line.
  put(progress_text(name, percent, count, entries, terminal_.width) + "\033[K\r");
  drawn_ = true;
  last_ = now;
}

void Progress::clear() {
  if (drawn_) {
    put("\033[K");
    drawn_ = false;
  }
}

}  // namespace annalctl
