// Regular expressions, as RE2 has them: linear in the text, whatever the expression.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace re2 {
class RE2;
}

namespace annalctl {

class Regex {
 public:
  enum class Letters {
    kAsTheyAre,
    kOfEitherCase,
  };
  enum class Text {
    kUtf8,   // '.' is a character, and invalid UTF-8 matches nothing
    kBytes,  // '.' is a byte
  };

  // Throws Refusal, with the reason, for an invalid expression.
  explicit Regex(const std::string& expression, Letters letters = Letters::kAsTheyAre, Text text = Text::kUtf8);
  ~Regex();
  Regex(Regex&& other) noexcept;
  Regex& operator=(Regex&& other) noexcept;

  // Whether a part of the text matches.
  [[nodiscard]] bool found_in(std::string_view text) const;

  // The named groups, "(?P<name>…)", in the order in which they begin.
  [[nodiscard]] const std::vector<std::string>& names() const { return names_; }

  // The parts of the text that the named groups match, in the same order; empty for a group that matches nothing.
  // False when no part of the text matches.
  [[nodiscard]] bool find_groups(std::string_view text, std::vector<std::string_view>& groups) const;

 private:
  std::unique_ptr<re2::RE2> expression_;
  std::vector<std::string> names_;
  std::vector<int> places_;  // of those groups among all
};

}  // namespace annalctl
