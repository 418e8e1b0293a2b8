// Checks for a column, adds one, and migrates an older table to the current layout.
#pragma once

#include <span>

#include "Corix_annal.h"
#include "common/statement.h"
#include "common/store.h"

namespace annal {

// How a log adds a column: one statement for each kind that its callers may name. Format: the column, the default.
struct ColumnAddition {
  Statement text;     // kind 0
  Statement integer;  // kind 1
};

// How a log looks for a column: by its value in the first row, as an integer.
struct Probe {
  Statement query;  // format: the column
  NegativeValue negative;
};

[[nodiscard]] int check_column(const char* path, const Probe& probe, const char* column) noexcept;

[[nodiscard]] int add_column(const char* path, const ColumnAddition& addition, const char* column, int kind,
                             const char* default_text) noexcept;

[[nodiscard]] inline int migrate(const char* path, const char* table, std::span<const AnnalColumn> columns) noexcept {
  return annal_common_migrate_db(path, table, columns.data(), columns.size());
}

}  // namespace annal
