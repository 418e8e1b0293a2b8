// Compares salvaged rows with the indexes, which list every row a second time.
//
// An index is believed only if SQLite can read it to its end and its entries are in order: then it is intact, and what
// it says of a row counts as much as the table. A value that the library cannot have stored is replaced by the index's;
// of two possible values neither is preferred, and the row is reported as doubtful.
#include "tools/annalctl/rescue/testimony.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <memory>
#include <optional>
#include <string_view>

namespace annalctl {

namespace {

constexpr std::int64_t kBetweenTells = 1024;

// A value in SQLite's order: by kind, then by number or by the bytes in the file.
struct Key {
  int kind = 0;
  double number = 0;
  std::int64_t integer = 0;
  std::string bytes{};
  std::int64_t id = 0;

  auto operator<=>(const Key&) const = default;
};

std::string stored_bytes(sqlite3_stmt* row, int place, Encoding encoding) {
  if (encoding == Encoding::kUtf8 || sqlite3_column_type(row, place) == SQLITE_BLOB) {
    const auto* const begin = static_cast<const char*>(sqlite3_column_blob(row, place));
    const auto size = static_cast<std::size_t>(sqlite3_column_bytes(row, place));
    return begin == nullptr ? std::string() : std::string(begin, size);
  }
  const auto* const begin = static_cast<const char*>(sqlite3_column_text16(row, place));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes16(row, place));
  std::string bytes = begin == nullptr ? std::string() : std::string(begin, size);
  const std::uint16_t one = 1;
  const bool little = *reinterpret_cast<const unsigned char*>(&one) == 1;
  if (little != (encoding == Encoding::kUtf16Little)) {
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
      std::swap(bytes[i], bytes[i + 1]);
    }
  }
  return bytes;
}

Key key_of(sqlite3_stmt* row, int place, Encoding encoding) {
  const int type = sqlite3_column_type(row, place);
  switch (type) {
    case SQLITE_NULL:
      return {.kind = 0};
    case SQLITE_INTEGER:
    case SQLITE_FLOAT:
      return {.kind = 1,
              .number = sqlite3_column_double(row, place),
              .integer = type == SQLITE_INTEGER ? sqlite3_column_int64(row, place) : 0};
    default:
      return {.kind = type == SQLITE_TEXT ? 2 : 3, .bytes = stored_bytes(row, place, encoding)};
  }
}

// A value as text; nothing for NULL. Columns convert between texts and numbers, so only texts can be compared.
std::optional<std::string_view> text_of(sqlite3_stmt* row, int place) {
  if (sqlite3_column_type(row, place) == SQLITE_NULL) {
    return {};
  }
  const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(row, place));
  const auto size = static_cast<std::size_t>(sqlite3_column_bytes(row, place));
  return text == nullptr ? std::string_view() : std::string_view(text, size);
}

bool is_broken(std::optional<std::string_view> text) {
  return text && text->find('\0') != std::string_view::npos;
}

// Whether the library can have stored a value of this kind in the column. Call it before text_of, which may convert the
// value.
bool is_possible(const Column& column, sqlite3_stmt* row, int place) {
  switch (sqlite3_column_type(row, place)) {
    case SQLITE_NULL:
      return true;
    case SQLITE_INTEGER:
      return column.integer;
    case SQLITE_TEXT:
      return !column.integer && !is_broken(text_of(row, place));
    default:
      return false;
  }
}

struct FreeValue {
  void operator()(sqlite3_value* value) const { sqlite3_value_free(value); }
};

// Both are sorted.
std::vector<std::int64_t> only_in(const std::vector<std::int64_t>& those, const std::vector<std::int64_t>& others) {
  std::vector<std::int64_t> only;
  std::set_difference(those.begin(), those.end(), others.begin(), others.end(), std::back_inserter(only));
  return only;
}

void vote(const std::vector<std::int64_t>& those, const std::vector<std::int64_t>& others,
          std::map<std::int64_t, int>& votes) {
  for (const std::int64_t id : only_in(those, others)) {
    ++votes[id];
  }
}

std::set<std::int64_t> most(const std::map<std::int64_t, int>& votes, int voters) {
  std::set<std::int64_t> ids;
  for (const auto& [id, count] : votes) {
    if (count * 2 > voters) {
      ids.insert(id);
    }
  }
  return ids;
}

}  // namespace

// What one index says. Believed only once the index was read to its end.
struct Witnesses::Entries {
  std::vector<std::int64_t> ids;
  std::vector<std::int64_t> different;
  std::vector<std::pair<std::int64_t, std::unique_ptr<sqlite3_value, FreeValue>>> right;
};

Testimony Witnesses::hear(NewLog& new_log, const std::function<void()>& tell) const {
  Testimony testimony;
  std::map<std::int64_t, int> missing;
  std::map<std::int64_t, int> unknown;
  const std::vector<std::int64_t> there = new_log.ids();
  std::vector<std::int64_t> uncompared = there;
  for (const std::string& index : indexes_) {
    const auto column = columns_.find(column_of(index));
    const std::string name = column == columns_.end() ? std::string() : quoted_name(column->second->name);
    std::optional<SqliteStatement> values;
    if (!name.empty()) {
      values.emplace(new_log.database(), fmt::format("SELECT {} FROM {} WHERE rowid = ?", name, log_.table));
    }
    Entries entries;
    if (!read(index, values ? column->second : nullptr, values ? &*values : nullptr, entries, tell)) {
      continue;
    }
    ++testimony.intact;
    testimony.doubtful.insert(entries.different.begin(), entries.different.end());
    if (values) {
      testimony.columns.insert(column->second->name);
      uncompared = only_in(uncompared, entries.ids);
    }
    vote(entries.ids, there, missing);
    vote(there, entries.ids, unknown);
    for (const auto& [id, value] : entries.right) {
      SqliteStatement update(new_log.database(), fmt::format("UPDATE {} SET {} = ? WHERE rowid = ?", log_.table, name));
      sqlite3_bind_value(update.handle(), 1, value.get());
      sqlite3_bind_int64(update.handle(), 2, id);
      if (update.next() || !update.ended()) {
        new_log.fail();
      }
      testimony.mended.emplace(id, column->second);
    }
  }
  testimony.compared = static_cast<std::int64_t>(there.size() - uncompared.size());
  testimony.missing = most(missing, testimony.intact);
  testimony.unknown = most(unknown, testimony.intact);
  return testimony;
}

// Whether the index is intact.
bool Witnesses::read(const std::string& index, const Column* column, SqliteStatement* values, Entries& entries,
                     const std::function<void()>& tell) const {
  const std::string name = column_of(index);
  if (name.empty()) {
    return false;  // Without a known order, circular pages would go unnoticed.
  }
  SqliteStatement rows(
      old_, fmt::format("SELECT rowid, {} FROM {} INDEXED BY {}", quoted_name(name), log_.table, quoted_name(index)));
  Key last{.kind = -1};
  while (rows.next()) {
    const std::int64_t id = rows.integer(0);
    entries.ids.push_back(id);
    if (static_cast<std::int64_t>(entries.ids.size()) % kBetweenTells == 0) {
      tell();
    }
    Key key = key_of(rows.handle(), 1, encoding_);
    key.id = id;
    if (key <= last) {
      return false;
    }
    last = std::move(key);
    if (values == nullptr) {
      continue;
    }
    sqlite3_bind_int64(values->handle(), 1, id);
    if (values->next()) {
      // If damage has changed a value's kind, its bytes alone show nothing.
      if (!is_possible(*column, values->handle(), 0) && is_possible(*column, rows.handle(), 1)) {
        entries.right.emplace_back(id, sqlite3_value_dup(sqlite3_column_value(rows.handle(), 1)));
      } else if (const auto listed = text_of(rows.handle(), 1);
                 text_of(values->handle(), 0) != listed && !is_broken(listed)) {
        entries.different.push_back(id);
      }
    }
    sqlite3_reset(values->handle());
  }
  std::sort(entries.ids.begin(), entries.ids.end());
  return rows.ended();
}

// The one column of an index, if its order is that of key_of.
std::string Witnesses::column_of(const std::string& index) const {
  SqliteStatement parts(old_, fmt::format("PRAGMA index_xinfo({})", quoted_name(index)));
  std::string column;
  while (parts.next()) {
    if (parts.integer(5) == 0) {
      continue;
    }
    if (!column.empty() || parts.integer(3) != 0 || parts.text(4) != "BINARY") {
      return {};
    }
    column = parts.text(2);
  }
  return column;
}

std::set<std::int64_t> rows_with_impossible_values(const Log& log, const NewLog& new_log) {
  std::string condition;
  for (const Column& column : log.columns) {
    const std::string name = quoted_name(column.name);
    condition += condition.empty() ? "" : " OR ";
    condition += column.integer ? fmt::format("typeof({}) NOT IN ('integer', 'null')", name)
                                : fmt::format(
                                      "typeof({0}) = 'blob' OR (typeof({0}) = 'text' AND "
                                      "instr(CAST({0} AS BLOB), x'00') > 0)",
                                      name);
  }
  std::set<std::int64_t> ids;
  SqliteStatement rows(new_log.database(), fmt::format("SELECT rowid FROM {} WHERE {}", log.table, condition));
  while (rows.next()) {
    ids.insert(rows.integer(0));
  }
  if (!rows.ended()) {
    new_log.fail();
  }
  return ids;
}

}  // namespace annalctl
