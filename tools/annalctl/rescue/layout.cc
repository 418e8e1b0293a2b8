// Compares schemas by meaning: two texts that differ only in case, quotes, blanks or comments are the same, and
// SQLite's rules decide which declared types are.
#include "tools/annalctl/rescue/layout.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>
#include <span>

#include "tools/annalctl/base/whole_number.h"

namespace annalctl {

namespace {

using Range = std::span<const Token>;

constexpr std::array<std::string_view, 5> kTableConstraints{"constraint", "primary", "unique", "check", "foreign"};

// Each of them refuses rows, or changes what is stored or how it compares.
constexpr std::array<std::string_view, 9> kDemands{"constraint", "primary",    "not", "unique",   "check",
                                                   "collate",    "references", "as",  "generated"};

constexpr std::array<std::string_view, 3> kMoments{"current_date", "current_time", "current_timestamp"};

template <std::size_t kSize>
bool is_one_of(const Token& token, const std::array<std::string_view, kSize>& words) {
  return std::any_of(words.begin(), words.end(), [&token](std::string_view word) { return token.is(word); });
}

bool same(Range some, Range others) {
  return annalctl::same(Tokens(some.begin(), some.end()), Tokens(others.begin(), others.end()));
}

// --- tables ---

// Up to the comma or bracket that ends an item of a list, skipping nested brackets.
std::size_t end_of_item(const Tokens& tokens, std::size_t begin) {
  std::size_t depth = 0;
  for (std::size_t i = begin; i < tokens.size(); ++i) {
    if (tokens[i].is("(")) {
      ++depth;
    } else if ((tokens[i].is(")") && depth-- == 0) || (tokens[i].is(",") && depth == 0)) {
      return i;
    }
  }
  return tokens.size();
}

// --- columns ---

enum class Affinity { kInteger, kText, kOther };

// SQLite's rules for a declared type's effect on values, as far as the logs' types need them.
Affinity affinity_of(Range type) {
  std::string name;
  for (const Token& token : type) {
    name += token.text;
  }
  const auto has = [&name](const char* part) { return name.find(part) != std::string::npos; };
  if (has("int")) {
    return Affinity::kInteger;
  }
  return has("char") || has("clob") || has("text") ? Affinity::kText : Affinity::kOther;
}

struct Declaration {
  Range type;
  Range fallback;  // after DEFAULT; empty without it
  bool demands = false;
};

Declaration declaration_of(const ColumnText& column) {
  const Range rest(column.rest);
  const auto begins = std::find_if(rest.begin(), rest.end(), [](const Token& token) { return token.is("default"); });
  const auto place = static_cast<std::size_t>(begins - rest.begin());
  Declaration declaration{rest.first(place), {}, false};
  if (place < rest.size()) {
    declaration.fallback = rest.subspan(place + 1);
  }
  // An expression in brackets has words of its own.
  const auto demands = [](Range part) {
    return std::any_of(part.begin(), part.end(), [](const Token& token) { return is_one_of(token, kDemands); });
  };
  const bool expression = !declaration.fallback.empty() && declaration.fallback.front().is("(");
  declaration.demands = demands(declaration.type) || (!expression && demands(declaration.fallback));
  return declaration;
}

bool is_literal(Range fallback) {
  if (fallback.size() == 2 && (fallback[0].is("-") || fallback[0].is("+"))) {
    return fallback[1].kind == Token::Kind::kNumber;
  }
  return fallback.size() == 1 && fallback[0].kind != Token::Kind::kSign;
}

bool is_moment(Range fallback) {
  return fallback.size() == 1 && is_one_of(fallback[0], kMoments);
}

// Some entries get their date and time from the columns' defaults; the library gives every other column a value.
bool falls_back_alike(Range fallback, Range made) {
  if (!made.empty() && (made.front().is("(") || is_moment(made))) {
    return same(fallback, made) || is_moment(fallback);
  }
  return fallback.empty() || is_literal(fallback);
}

// The id must be an alias of SQLite's row number, or it would stay empty.
bool is_id(const ColumnText& column) {
  constexpr std::array<std::string_view, 3> kBeginning{"integer", "primary", "key"};
  if (column.rest.size() < kBeginning.size()) {
    return false;
  }
  for (std::size_t i = 0; i < column.rest.size(); ++i) {
    const Token& token = column.rest[i];
    if (i < kBeginning.size() ? !token.is(kBeginning.at(i)) : !token.is("autoincrement") && !token.is("unique")) {
      return false;
    }
  }
  return true;
}

// --- triggers ---

bool is_count(const Token& token) {
  return token.kind == Token::Kind::kNumber && whole_number<int>(token.text).value_or(0) > 0;
}

}  // namespace

std::optional<TableText> table_text(std::string_view statement) {
  const Tokens tokens = tokens_of(statement);
  constexpr std::size_t kColumnsAt = 4;
  if (tokens.size() <= kColumnsAt || !tokens[0].is("create") || !tokens[1].is("table") || !tokens[3].is("(")) {
    return {};
  }
  TableText table;
  std::size_t end = kColumnsAt - 1;
  do {
    const std::size_t begin = end + 1;
    end = end_of_item(tokens, begin);
    if (begin >= end || end == tokens.size()) {
      return {};
    }
    if (is_one_of(tokens[begin], kTableConstraints)) {
      table.demand = tokens[begin].text;
    } else {
      const auto first = tokens.begin() + static_cast<std::ptrdiff_t>(begin);
      table.columns.push_back({first->text, {first + 1, tokens.begin() + static_cast<std::ptrdiff_t>(end)}});
    }
  } while (tokens[end].is(","));
  if (end + 1 != tokens.size()) {
    table.demand = tokens[end + 1].text;
  }
  return table;
}

bool stores_alike(const ColumnText& column, const ColumnText* made) {
  if (made != nullptr && same(column.rest, made->rest)) {
    return true;
  }
  if (made != nullptr && is_id(*made)) {
    return is_id(column);
  }
  const Declaration declaration = declaration_of(column);
  if (declaration.demands) {
    return false;
  }
  if (made == nullptr) {
    return declaration.fallback.empty() || is_literal(declaration.fallback);
  }
  const Declaration expected = declaration_of(*made);
  return affinity_of(declaration.type) == affinity_of(expected.type) &&
         falls_back_alike(declaration.fallback, expected.fallback);
}

bool is_same_trigger(std::string_view statement, std::string_view made) {
  const Tokens tokens = tokens_of(statement);
  const Tokens expected = tokens_of(made);
  return std::equal(
      tokens.begin(), tokens.end(), expected.begin(), expected.end(),
      [](const Token& one, const Token& other) { return same(one, other) || (is_count(one) && is_count(other)); });
}

bool is_harmless_index(std::string_view statement) {
  const Tokens tokens = tokens_of(statement);
  constexpr std::size_t kColumnsAt = 6;
  if (tokens.size() <= kColumnsAt || !tokens[1].is("index") || !tokens[3].is("on") || !tokens[5].is("(")) {
    return false;
  }
  for (std::size_t i = kColumnsAt; i + 1 < tokens.size(); ++i) {
    if (!tokens[i].is_name() && !tokens[i].is(",")) {
      return false;
    }
    if (tokens[i].is("collate")) {
      return false;
    }
  }
  return tokens.back().is(")");
}

}  // namespace annalctl
