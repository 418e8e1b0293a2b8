// A log's file as other programs see it: SQLite asked directly, past the library.
#pragma once

#include <string>
#include <vector>

namespace annal::test {

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

// Runs a statement on a file and returns its rows, "NULL" for NULL. Throws std::runtime_error with SQLite's message.
Rows sql(const char* path, const std::string& statement);

// The one value of a statement that has one row of one column; an empty text when it has no row.
std::string value(const char* path, const std::string& statement);

// Rows as a listing hands them to its callback, with the names of its columns. Pass collect and the address of one.
struct Listing {
  Rows rows;
  Row names;
};
int collect(void* listing, int columns, char** values, char** names);

}  // namespace annal::test
