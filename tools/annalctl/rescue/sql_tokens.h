// The words of a statement, for comparing texts that differ only in how they are written.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace annalctl {

struct Token {
  enum class Kind {
    kWord,    // a keyword or a name, in lower case
    kQuoted,  // a quoted name, in lower case and without its quotes
    kNumber,
    kString,  // with its quotes
    kSign,    // one character
  };
  Kind kind;
  std::string text;

  // A name means the same with and without quotes.
  [[nodiscard]] bool is_name() const { return kind == Kind::kWord || kind == Kind::kQuoted; }
  [[nodiscard]] bool is(std::string_view word) const {
    return (kind == Kind::kWord || kind == Kind::kSign) && text == word;
  }
};

using Tokens = std::vector<Token>;

[[nodiscard]] Tokens tokens_of(std::string_view statement);

[[nodiscard]] bool same(const Token& one, const Token& other);
[[nodiscard]] bool same(const Tokens& some, const Tokens& others);

}  // namespace annalctl
