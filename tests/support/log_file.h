// A log's file as other programs see it, through SQLite without the library.
#pragma once

#include <string>
#include <vector>

namespace annal::test {

using Row = std::vector<std::string>;
using Rows = std::vector<Row>;

// Runs a statement on a file and returns its rows, "NULL" for NULL. Throws std::runtime_error with SQLite's message.
Rows sql(const char* path, const std::string& statement);

// A statement's single value, or an empty text if it has no row.
std::string value(const char* path, const std::string& statement);

// A listing's rows and column names, collected by its callback. Pass collect and the address of a Listing.
struct Listing {
  Rows rows;
  Row names;
};
int collect(void* listing, int columns, char** values, char** names);

}  // namespace annal::test
