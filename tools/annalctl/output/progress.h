// A line on the terminal that shows how far an import has come.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

#include "tools/annalctl/base/terminal.h"

namespace annalctl {

// The text of the line, cut to the terminal's width.
[[nodiscard]] std::string progress_text(const std::string& name, std::optional<int> percent, std::uint64_t count,
                                        const char* entries, std::size_t width);

class Progress {
 public:
  explicit Progress(const Terminal& terminal) : terminal_(terminal) {}
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  // Draws at most ten times a second.
  void show(const std::string& name, std::optional<int> percent, std::uint64_t count, const char* entries);

  // Makes room for another line.
  void clear();

 private:
  Terminal terminal_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point last_;
};

}  // namespace annalctl
