// Applies missing migrations in one transaction, writes them as a psql script and checks a database's version.
#include "tools/export/database/schema.h"

#include <fmt/format.h>

#include <array>
#include <cstdlib>

namespace exporter::database {

namespace {

// Two that apply the schema at the same time follow each other.
constexpr const char* kBegin =
    "BEGIN; "
    "SET LOCAL client_min_messages = warning; "
    "DO $$ BEGIN PERFORM pg_advisory_xact_lock(hashtext('annal.migration')); END $$; "
    "CREATE SCHEMA IF NOT EXISTS annal; "
    "CREATE TABLE IF NOT EXISTS annal.migration (number integer PRIMARY KEY, name text NOT NULL, applied "
    "timestamptz NOT NULL DEFAULT now()); "
    "GRANT SELECT ON annal.migration TO PUBLIC";

constexpr const char* kApplied = "SELECT coalesce(max(number), 0) AS applied FROM annal.migration";

std::string record_of(const Migration& migration) {
  return fmt::format("INSERT INTO annal.migration (number, name) VALUES ({}, '{}')", migration.number, migration.name);
}

int latest() {
  return migrations().back().number;
}

int number_in(const Connection::Result& result) {
  constexpr int kDecimal = 10;
  return static_cast<int>(std::strtol(PQgetvalue(result.get(), 0, 0), nullptr, kDecimal));
}

}  // namespace

std::string schema_script() {
  std::string script = "\\set ON_ERROR_STOP on\n" + std::string(kBegin) + ";\n" + std::string(kApplied) + "\n\\gset\n";
  for (const Migration& migration : migrations()) {
    script +=
        fmt::format("\nSELECT :applied < {} AS missing\n\\gset\n\\if :missing\n\\echo applying {}\n{}\n{};\n\\endif\n",
                    migration.number, migration.name, migration.sql, record_of(migration));
  }
  return script + "\nCOMMIT;\n";
}

std::vector<std::string> apply_schema(Connection& connection) {
  std::vector<std::string> applied;
  connection.run(kBegin);
  const int before = number_in(connection.run(kApplied));
  if (before > latest()) {
    connection.run("ROLLBACK");
    throw Failure(Failure::Cause::kServer,
                  fmt::format("the database has schema {}, which is newer than this program's {}", before, latest()));
  }
  for (const Migration& migration : migrations()) {
    if (migration.number > before) {
      connection.run(std::string(migration.sql));
      connection.run(record_of(migration));
      applied.emplace_back(migration.name);
    }
  }
  connection.run("COMMIT");
  return applied;
}

void require_schema(Connection& connection) {
  const Connection::Result result = connection.run(kApplied);
  if (const int applied = number_in(result); applied < latest()) {
    throw Failure(Failure::Cause::kServer,
                  fmt::format("the database has schema {}, and this program needs {}: apply it with 'annal-database "
                              "apply'",
                              applied, latest()));
  }
}

std::vector<std::string> drop_before(Connection& connection, const std::string& day) {
  std::vector<std::string> dropped;
  const std::array<std::string, 1> values{day};
  const Connection::Result result = connection.run("SELECT dropped FROM annal.drop_before($1::date)", values);
  dropped.reserve(static_cast<std::size_t>(PQntuples(result.get())));
  for (int row = 0; row < PQntuples(result.get()); ++row) {
    dropped.emplace_back(PQgetvalue(result.get(), row, 0));
  }
  return dropped;
}

}  // namespace exporter::database
