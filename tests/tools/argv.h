// The argument vector of a program, from texts.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace annal::test {

class Argv {
 public:
  Argv(std::string program, const std::vector<std::string>& arguments) : texts_{std::move(program)} {
    texts_.insert(texts_.end(), arguments.begin(), arguments.end());
    pointers_.reserve(texts_.size() + 1);
    for (std::string& text : texts_) {
      pointers_.push_back(text.data());
    }
    pointers_.push_back(nullptr);
  }

  [[nodiscard]] int count() const { return static_cast<int>(texts_.size()); }
  [[nodiscard]] char** get() { return pointers_.data(); }

 private:
  std::vector<std::string> texts_;
  std::vector<char*> pointers_;
};

}  // namespace annal::test
