// Runs SQL on a log's file without the library.
#include "tests/support/log_file.h"

#include <sqlite3.h>

#include <memory>
#include <stdexcept>

namespace annal::test {

int collect(void* listing, int columns, char** values, char** names) {
  auto& into = *static_cast<Listing*>(listing);
  Row row;
  into.names.assign(names, names + columns);
  for (int i = 0; i < columns; ++i) {
    row.emplace_back(values[i] != nullptr ? values[i] : "NULL");
  }
  into.rows.push_back(std::move(row));
  return 0;
}

Rows sql(const char* path, const std::string& statement) {
  sqlite3* handle = nullptr;
  const int opened = sqlite3_open(path, &handle);
  const std::unique_ptr<sqlite3, int (*)(sqlite3*)> database(handle, &sqlite3_close);
  sqlite3_busy_timeout(handle, 10'000);  // a program that the test has started may be reading
  Listing listing;
  if (opened != SQLITE_OK || sqlite3_exec(handle, statement.c_str(), &collect, &listing, nullptr) != SQLITE_OK) {
    throw std::runtime_error(statement + ": " + sqlite3_errmsg(handle));
  }
  return std::move(listing.rows);
}

std::string value(const char* path, const std::string& statement) {
  const Rows rows = sql(path, statement);
  return rows.empty() ? "" : rows.at(0).at(0);
}

std::string ids(const Listing& listing) {
  std::string found;
  for (const Row& row : listing.rows) {
    found += (found.empty() ? "" : ",") + row.at(0);
  }
  return found;
}

std::string ids_between(int first, int last) {
  std::string all;
  for (int id = first; id <= last; ++id) {
    all += (all.empty() ? "" : ",") + std::to_string(id);
  }
  return all;
}

int count_rows(void* rows, int /*columns*/, char** /*values*/, char** /*names*/) {
  ++*static_cast<int*>(rows);
  return 0;
}

int stop(void* rows, int /*columns*/, char** /*values*/, char** /*names*/) {
  ++*static_cast<int*>(rows);
  return 1;
}

int stop_at_third(void* rows, int /*columns*/, char** /*values*/, char** /*names*/) {
  return ++*static_cast<int*>(rows) == 3 ? -1 : 0;
}

}  // namespace annal::test
