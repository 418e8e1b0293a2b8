// Captures what a command of annalctl writes to a stream.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string>

namespace annal::fuzz {

class Captured {
 public:
  explicit Captured(std::FILE*& stream) : stream_(stream), real_(stream) { stream_ = open_memstream(&text_, &size_); }
  ~Captured() {
    restore();
    std::free(text_);
  }
  Captured(const Captured&) = delete;
  Captured& operator=(const Captured&) = delete;

  std::string restore() {
    if (stream_ != real_) {
      std::fclose(stream_);
      stream_ = real_;
    }
    return {text_, size_};
  }

 private:
  char* text_ = nullptr;
  std::size_t size_ = 0;
  std::FILE*& stream_;
  std::FILE* real_;
};

}  // namespace annal::fuzz
