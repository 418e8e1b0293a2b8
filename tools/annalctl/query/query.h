// What is asked of a log: conditions, an order and groups, as data from which statements are put together.
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
// Both throw Refusal for a text that is too long to look for. In the second "%" stands for any text and "_" for any
// character.
[[nodiscard]] Condition contains(const std::string& column, const std::string& text);
[[nodiscard]] Condition resembles(const std::string& column, const std::string& text);
[[nodiscard]] Condition matches(const std::string& column, const std::string& expression);
// Both take rows of which the expression says nothing, as of a NULL, for ones that do not meet it.
[[nodiscard]] Condition any_of(std::vector<Condition> alternatives);
[[nodiscard]] Condition negated(Condition condition);

// One order that can be asked for: its name, and the columns that it goes by.
struct Sort {
  Choice choice;
  std::array<const char*, 2> columns{};
};

[[nodiscard]] std::vector<Choice> choices_of(std::span<const Sort> sorts);

struct Query {
  const char* columns = "t.*";  // what is listed of the table, which is called t
  const char* id = "";          // the column that has the rows' ids
  std::vector<Condition> conditions;

  // Rows that are equal in these columns come in the order of their ids. Groups that are come in the order of what they
  // are grouped by.
  std::vector<std::string> sort;
  bool descending = false;

  // Of a group its newest row is listed, and its size as a last column.
  std::vector<std::string> groups;
  bool largest_first = false;

  // Whether the ids alone give the order.
  [[nodiscard]] bool goes_by_id() const { return groups.empty() && (sort.empty() || sort.front() == id); }

  // Sorts as a code says: a choice's is its ascending order, one more is descending.
  void order_by(std::span<const Sort> sorts, unsigned code);
  void group_by(std::span<const char* const> shared);
};

// What SQLite may use an index for.
enum class Indexes {
  kForAll,
  kForOrder,  // for conditions only where they are on the column that the order begins with
};

// "WHERE first AND …"; first may be empty.
[[nodiscard]] std::string where(const Query& query, const std::string& first = {}, Indexes indexes = Indexes::kForAll);
// Binds the conditions' values from a place on, and returns the place behind them.
int bind_values(const SqliteStatement& statement, const Query& query, int place);

// "ORDER BY …" for rows whose id has this name.
[[nodiscard]] std::string order_of_rows(const Query& query, const std::string& id);
// The same for groups whose size has this name.
[[nodiscard]] std::string order_of_groups(const Query& query, const std::string& size);

// "one, two": with nothing in front of the first.
[[nodiscard]] std::string listed(std::span<const std::string> columns);

}  // namespace annalctl
