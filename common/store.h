// One unit of work on a log's file: open it, run one statement, close it, and answer with a result code.
#pragma once

#include "Corix_annal.h"
#include "common/statement.h"
#include "common/text.h"

namespace annal {

// Runs a statement whose text is complete as it stands.
[[nodiscard]] int run(const char* path, const Statement& statement) noexcept;

// Runs a text that was built from the statement's format. ANNAL_NO_MEMORY, with nothing opened, when it could not be
// built: SQLite takes a null text for an empty one and reports success.
[[nodiscard]] int run(const char* path, const Statement& statement, const Text& text) noexcept;

// Runs a built query and hands its rows to the caller.
[[nodiscard]] int list(const char* path, const Statement& query, const Text& text, annal_row_callback callback,
                       void* context) noexcept;

// The first column of a built query's first row, which is how counts and column checks are answered. The query's
// failure code stands for "no row" and for a negative value, which no caller could tell from a code.
[[nodiscard]] int first_integer(const char* path, const Statement& query, const Text& text) noexcept;

}  // namespace annal
