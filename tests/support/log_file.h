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

// The first column of a listing's rows, such as "3,2,1".
std::string ids(const Listing& listing);
std::string ids_between(int first, int last);

// Callbacks that count the rows in an int: all of them, the first one, or up to the third.
int count_rows(void* rows, int columns, char** values, char** names);
int stop(void* rows, int columns, char** values, char** names);
int stop_at_third(void* rows, int columns, char** values, char** names);

}  // namespace annal::test
