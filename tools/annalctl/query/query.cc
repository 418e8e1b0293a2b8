// Builds statements from conditions, orders and groups.
#include "tools/annalctl/query/query.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <utility>

#include "tools/annalctl/base/failure.h"

namespace annalctl {

namespace {

// SQLite refuses longer patterns.
constexpr std::size_t kLongestPattern = 50000;

void append(std::string& list, const std::string& item) {
  list += (list.empty() ? "" : ", ") + item;
}

std::string pattern_of(const std::string& text) {
  std::string pattern = "%" + text + "%";
  if (pattern.size() > kLongestPattern) {
    throw Refusal(fmt::format("a text to look for is {} bytes long, which is too long: at most {} can be looked for",
                              text.size(), kLongestPattern - 2));
  }
  return pattern;
}

std::string ordered_by(const std::string& columns) {
  return columns.empty() ? "" : " ORDER BY " + columns;
}

}  // namespace

Condition equals(const std::string& column, Condition::Value value) {
  return {column + " = ?", {std::move(value)}};
}

Condition contains(const std::string& column, const std::string& text) {
  std::string literal;
  for (const char c : text) {
    literal.append(c == '%' || c == '_' || c == '\\' ? "\\" : "").push_back(c);
  }
  return {column + " LIKE ? ESCAPE '\\'", {pattern_of(literal)}};
}

Condition resembles(const std::string& column, const std::string& text) {
  return {column + " LIKE ?", {pattern_of(text)}};
}

Condition matches(const std::string& column, const std::string& expression) {
  return {column + " REGEXP ?", {expression}};
}

Condition any_of(std::vector<Condition> alternatives) {
  if (alternatives.size() == 1) {
    return std::move(alternatives.front());
  }
  Condition any;
  for (Condition& one : alternatives) {
    any.expression += fmt::format("{}({})", any.expression.empty() ? "" : " OR ", one.expression);
    std::move(one.values.begin(), one.values.end(), std::back_inserter(any.values));
  }
  return any;
}

Condition negated(Condition condition) {
  return {fmt::format("({}) IS NOT 1", condition.expression), std::move(condition.values)};
}

std::vector<Choice> choices_of(std::span<const Sort> sorts) {
  std::vector<Choice> choices;
  std::transform(sorts.begin(), sorts.end(), std::back_inserter(choices), [](const Sort& sort) { return sort.choice; });
  return choices;
}

void Query::order_by(std::span<const Sort> sorts, unsigned code) {
  descending = (code & 1U) != 0;
  sort.clear();
  for (const Sort& known : sorts) {
    if (known.choice.code == (code & ~1U)) {
      for (const char* column : known.columns) {
        if (column != nullptr) {
          sort.emplace_back(column);
        }
      }
    }
  }
}

void Query::group_by(std::span<const char* const> shared) {
  for (const char* column : shared) {
    if (column != nullptr) {
      groups.emplace_back(column);
    }
  }
}

std::string where(const Query& query, const std::string& first, Indexes indexes) {
  std::string clause = first.empty() ? "" : " WHERE " + first;
  for (const Condition& condition : query.conditions) {
    const bool hidden = indexes == Indexes::kForOrder && !condition.expression.starts_with(query.sort.front() + " ");
    // SQLite uses no index for an expression after a "+".
    clause += fmt::format("{}{}({})", clause.empty() ? " WHERE " : " AND ", hidden ? "+" : "", condition.expression);
  }
  return clause;
}

int bind_values(const SqliteStatement& statement, const Query& query, int place) {
  for (const Condition& condition : query.conditions) {
    for (const Condition::Value& value : condition.values) {
      std::visit([&statement, place](const auto& one) { statement.bind(place, one); }, value);
      ++place;
    }
  }
  return place;
}

std::string order_of_rows(const Query& query, const std::string& id) {
  const char* const direction = query.descending ? " DESC" : "";
  std::string columns;
  for (const std::string& column : query.sort) {
    append(columns, column + direction);
  }
  append(columns, id + direction);
  return ordered_by(columns);
}

std::string order_of_groups(const Query& query, const std::string& size) {
  std::string columns = query.largest_first ? size + " DESC" : "";
  for (const std::string& column : query.sort) {
    append(columns, column + (query.descending ? " DESC" : ""));
  }
  for (const std::string& column : query.groups) {
    const bool sorted = std::find(query.sort.begin(), query.sort.end(), column) != query.sort.end();
    if (!sorted) {
      append(columns, column);
    }
  }
  return ordered_by(columns);
}

std::string listed(std::span<const std::string> columns) {
  std::string list;
  for (const std::string& column : columns) {
    append(list, column);
  }
  return list;
}

}  // namespace annalctl
