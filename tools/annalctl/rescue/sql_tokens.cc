// Splits SQL into tokens by SQLite's rules.
#include "tools/annalctl/rescue/sql_tokens.h"

#include <algorithm>
#include <cstddef>

#include "tools/annalctl/base/printable.h"

namespace annalctl {

namespace {

bool is_space(char c) {
  return std::string_view(" \t\n\r\f").find(c) != std::string_view::npos;
}

// To SQLite every byte above ASCII is a letter.
bool in_word(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return is_letter(c) || is_digit(c) || c == '_' || c == '$' || byte >= 0x80U;
}

std::string lowered(std::string_view text) {
  std::string name(text);
  std::transform(name.begin(), name.end(), name.begin(), lower);
  return name;
}

class Lexer {
 public:
  explicit Lexer(std::string_view text) : text_(text) {}

  Tokens run() {
    while (skip_blanks()) {
      take();
    }
    return std::move(tokens_);
  }

 private:
  [[nodiscard]] bool begins(std::string_view beginning) const { return text_.substr(place_).starts_with(beginning); }

  void skip_past(std::string_view end) {
    const std::size_t found = text_.find(end, place_);
    place_ = found == std::string_view::npos ? text_.size() : found + end.size();
  }

  // Whether there is more text.
  bool skip_blanks() {
    while (place_ < text_.size()) {
      if (is_space(text_[place_])) {
        ++place_;
      } else if (begins("--")) {
        skip_past("\n");
      } else if (begins("/*")) {
        skip_past("*/");
      } else {
        return true;
      }
    }
    return false;
  }

  // The text between two quotes, which are doubled in it.
  std::string quoted(char end) {
    std::string inside;
    for (++place_; place_ < text_.size(); ++place_) {
      if (text_[place_] == end) {
        ++place_;
        if (place_ >= text_.size() || text_[place_] != end || end == ']') {
          return inside;
        }
      }
      inside += text_[place_];
    }
    return inside;
  }

  void take() {
    const char first = text_[place_];
    if (first == '\'') {
      const std::size_t begin = place_;
      static_cast<void>(quoted(first));
      tokens_.push_back({Token::Kind::kString, std::string(text_.substr(begin, place_ - begin))});
    } else if (first == '"' || first == '`' || first == '[') {
      tokens_.push_back({Token::Kind::kQuoted, lowered(quoted(first == '[' ? ']' : first))});
    } else if (in_word(first)) {
      const std::size_t begin = place_;
      while (place_ < text_.size() && (in_word(text_[place_]) || (is_digit(first) && text_[place_] == '.'))) {
        ++place_;
      }
      tokens_.push_back(
          {is_digit(first) ? Token::Kind::kNumber : Token::Kind::kWord, lowered(text_.substr(begin, place_ - begin))});
    } else {
      tokens_.push_back({Token::Kind::kSign, std::string(1, first)});
      ++place_;
    }
  }

  std::string_view text_;
  std::size_t place_ = 0;
  Tokens tokens_;
};

}  // namespace

Tokens tokens_of(std::string_view statement) {
  return Lexer(statement).run();
}

bool same(const Token& one, const Token& other) {
  return one.text == other.text && (one.kind == other.kind || (one.is_name() && other.is_name()));
}

bool same(const Tokens& some, const Tokens& others) {
  return std::equal(some.begin(), some.end(), others.begin(), others.end(),
                    [](const Token& one, const Token& other) { return same(one, other); });
}

}  // namespace annalctl
