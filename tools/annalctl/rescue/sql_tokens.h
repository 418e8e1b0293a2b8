// The words of a statement, for comparing texts that mean the same and are written differently.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace annalctl {

struct Token {
  enum class Kind {
    kWord,    // a keyword or a name, in lower case
    kQuoted,  // a name between quotes, without them and in lower case
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
