// A query as data: conditions, an order and groups, from which statements are built.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "tools/annalctl/arguments/choice.h"
#include "tools/annalctl/base/sqlite.h"

namespace annalctl {

// One condition: an expression with a "?" for each of its values.
struct Condition {
  using Value = std::variant<std::int64_t, std::string>;

  std::string expression;
  std::vector<Value> values;
};

[[nodiscard]] Condition equals(const std::string& column, Condition::Value value);
// Both throw Refusal for a text that is too long to look for. In the second, "%" matches any text and "_" any
// character.
[[nodiscard]] Condition contains(const std::string& column, const std::string& text);
[[nodiscard]] Condition resembles(const std::string& column, const std::string& text);
[[nodiscard]] Condition matches(const std::string& column, const std::string& expression);
// For both, a row whose expression is NULL does not meet it.
[[nodiscard]] Condition any_of(std::vector<Condition> alternatives);
[[nodiscard]] Condition negated(Condition condition);

// An order: its name, and the columns to sort by.
struct Sort {
  Choice choice;
  std::array<const char*, 2> columns{};
};

[[nodiscard]] std::vector<Choice> choices_of(std::span<const Sort> sorts);

struct Query {
  const char* columns = "t.*";  // the columns listed; the table is called t
  const char* id = "";          // the column of the rows' ids
  std::vector<Condition> conditions;

  // Rows with equal values in these columns come in the order of their ids, groups in the order of the columns that
  // they share.
  std::vector<std::string> sort;
  bool descending = false;

  // A group shows its newest row, and its size as the last column.
  std::vector<std::string> groups;
  bool largest_first = false;

  // Whether the order is that of the ids.
  [[nodiscard]] bool goes_by_id() const { return groups.empty() && (sort.empty() || sort.front() == id); }

  // Sorts by a code: a choice's own means ascending, one more descending.
  void order_by(std::span<const Sort> sorts, unsigned code);
  void group_by(std::span<const char* const> shared);
};

// What SQLite may use an index for.
enum class Indexes {
  kForAll,
  kForOrder,  // for conditions only on the first column of the order
};

// "WHERE first AND …"; first may be empty.
[[nodiscard]] std::string where(const Query& query, const std::string& first = {}, Indexes indexes = Indexes::kForAll);
// Binds the conditions' values from a place on, and returns the place after them.
int bind_values(const SqliteStatement& statement, const Query& query, int place);

// "ORDER BY …" for rows whose id has this name.
[[nodiscard]] std::string order_of_rows(const Query& query, const std::string& id);
// The same for groups whose size has this name.
[[nodiscard]] std::string order_of_groups(const Query& query, const std::string& size);

// "one, two"
[[nodiscard]] std::string listed(std::span<const std::string> columns);

}  // namespace annalctl
