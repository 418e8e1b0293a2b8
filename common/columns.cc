// Checks and adds columns, and migrates an older table in one transaction.
#include "common/columns.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "common/database.h"
#include "common/text.h"

namespace annal {

namespace {

struct Free {
  void operator()(char* memory) const noexcept { std::free(memory); }
};
using Buffer = std::unique_ptr<char, Free>;

// Runs the statements that add the missing columns in one transaction, so that a table has either the old layout or the
// new one.
int run_additions(const Database& database, std::span<const AnnalColumn> missing) noexcept {
  constexpr char kBegin[] = "BEGIN TRANSACTION;";
  constexpr char kCommit[] = "COMMIT;";

  std::size_t length = 0;
  for (const AnnalColumn& column : missing) {
    if (column.add_sql == nullptr) {
      return ANNAL_CHANGE_FAILED;
    }
    length += std::strlen(column.add_sql);
  }
  if (length == 0) {
    return ANNAL_OK;
  }

  const Buffer sql(static_cast<char*>(std::malloc(sizeof kBegin + length + sizeof kCommit)));
  if (sql == nullptr) {
    return ANNAL_NO_MEMORY;
  }
  char* end = stpcpy(sql.get(), kBegin);
  for (const AnnalColumn& column : missing) {
    end = stpcpy(end, column.add_sql);
  }
  stpcpy(end, kCommit);
  return database.execute(sql.get(), nullptr, nullptr) ? ANNAL_OK : ANNAL_CHANGE_FAILED;
}

// Exact, unlike SQLite, which ignores case in names. A null name equals no other.
bool same(const char* expected, const char* found) noexcept {
  return expected != nullptr && found != nullptr && std::strcmp(expected, found) == 0;
}

int add_missing_columns(const Database& database, const char* table, std::span<const AnnalColumn> columns) noexcept {
  // Any realistic table name fits. SQLite refuses what remains of one that is cut.
  char pragma[128];
  (void)std::snprintf(pragma, sizeof pragma, "PRAGMA TABLE_INFO(%s);", table);
  const PreparedStatement info(database, pragma);
  if (!info.prepared()) {
    return ANNAL_OPEN_FAILED;
  }

  constexpr int kNameColumn = 1;
  std::size_t present = 0;
  int step = info.step();
  for (; step == SQLITE_ROW; step = info.step()) {
    const char* name = info.text(kNameColumn);
    if (present == columns.size() || !same(columns[present].name, name)) {
      return ANNAL_CHANGE_FAILED;
    }
    ++present;
  }
  // Only a table that was read to its end is known to lack columns.
  return step == SQLITE_DONE ? run_additions(database, columns.subspan(present)) : ANNAL_CHANGE_FAILED;
}

}  // namespace

int check_column(const char* path, const Probe& probe, const char* column) noexcept {
  if (column == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  return first_integer(path, probe.query, Text(sqlite3_mprintf(probe.query.sql, column)), probe.negative);
}

int add_column(const char* path, const ColumnAddition& addition, const char* column, int kind,
               const char* default_text) noexcept {
  if (column == nullptr || default_text == nullptr || (kind != 0 && kind != 1)) {
    return ANNAL_BAD_ARGUMENT;
  }
  const Statement& statement = kind == 1 ? addition.integer : addition.text;
  return run(path, statement, Text(sqlite3_mprintf(statement.sql, column, default_text)));
}

}  // namespace annal

int annal_common_migrate_db(const char* filename, const char* table, const AnnalColumn* list,
                            unsigned long count) noexcept {
  if (filename == nullptr || table == nullptr || (list == nullptr && count != 0)) {
    return ANNAL_BAD_ARGUMENT;
  }
  const annal::Database database(filename, annal::Wait::kBusyTimeout);
  return database.opened() ? annal::add_missing_columns(database, table, {list, count}) : ANNAL_OPEN_FAILED;
}
