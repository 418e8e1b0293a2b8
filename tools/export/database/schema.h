// The schema as numbered migrations, each applied once and never changed after a release.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "tools/export/database/connection.h"

namespace exporter::database {

struct Migration {
  int number;
  std::string_view name;  // "0001_logs"
  std::string_view sql;
};

// In their order, from number 1 on.
[[nodiscard]] std::span<const Migration> migrations();

// All of them as one script, for psql: it can be run on any older schema and on the current one.
[[nodiscard]] std::string schema_script();

// Applies those that are missing in one transaction, and returns their names. Throws Failure.
std::vector<std::string> apply_schema(Connection& connection);

// Throws Failure if the database's schema is older than this program.
void require_schema(Connection& connection);

// Drops what is older than a day, "2026-08-01", and returns the names of the dropped tables. Throws Failure.
std::vector<std::string> drop_before(Connection& connection, const std::string& day);

}  // namespace exporter::database
