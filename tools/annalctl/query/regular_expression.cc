// Gives SQLite the operator REGEXP.
#include "tools/annalctl/query/regular_expression.h"

#include <algorithm>
#include <memory>
#include <new>
#include <string_view>

#include "tools/annalctl/base/regex.h"

namespace annalctl {

namespace {

// An expression without capital letters ignores case.
Regex compiled(const std::string& pattern) {
  const bool capital = std::any_of(pattern.begin(), pattern.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
  return Regex(pattern, capital ? Regex::Letters::kAsTheyAre : Regex::Letters::kOfEitherCase);
}

void delete_expression(void* expression) {
  delete static_cast<Regex*>(expression);
}

std::string_view text_of(sqlite3_value* value) {
  const auto* const text = reinterpret_cast<const char*>(sqlite3_value_text(value));
  if (text == nullptr) {
    throw std::bad_alloc();
  }
  return {text, static_cast<std::size_t>(sqlite3_value_bytes(value))};
}

// A pattern that is the same for all rows is compiled once.
bool is_found(sqlite3_context* context, sqlite3_value* pattern, std::string_view text) {
  if (const auto* const known = static_cast<Regex*>(sqlite3_get_auxdata(context, 0))) {
    return known->found_in(text);
  }
  auto expression = std::make_unique<Regex>(compiled(std::string(text_of(pattern))));
  const bool found = expression->found_in(text);
  sqlite3_set_auxdata(context, 0, expression.release(), delete_expression);
  return found;
}

// "text REGEXP pattern" is regexp(pattern, text).
void regexp(sqlite3_context* context, int /*count*/, sqlite3_value** values) {
  if (sqlite3_value_type(values[1]) == SQLITE_NULL) {
    return;  // NULL
  }
  try {
    sqlite3_result_int(context, is_found(context, values[0], text_of(values[1])) ? 1 : 0);
  } catch (const std::bad_alloc&) {
    sqlite3_result_error_nomem(context);
  } catch (const std::exception& error) {
    sqlite3_result_error(context, error.what(), -1);
  }
}

}  // namespace

void require_regular_expression(const std::string& pattern) {
  static_cast<void>(compiled(pattern));
}

void add_regular_expressions(const SqliteDatabase& database) {
  sqlite3_create_function_v2(database.handle(), "regexp", 2, SQLITE_UTF8 | SQLITE_DETERMINISTIC, nullptr, regexp,
                             nullptr, nullptr, nullptr);
}

}  // namespace annalctl
