// One unit of work on a log's file: open it, run one statement, close it, and answer with a result code.
#pragma once

#include <cstdint>

#include "Corix_annal.h"
#include "common/statement.h"
#include "common/text.h"

namespace annal {

// Runs a statement whose text is complete as it stands.
[[nodiscard]] int run(const char* path, const Statement& statement) noexcept;

// Runs a text that was built from the statement's format. ANNAL_NO_MEMORY, with nothing opened, when it could not be
// built: SQLite takes a null text for an empty one and reports success.
[[nodiscard]] int run(const char* path, const Statement& statement, const Text& text) noexcept;

// The same for a statement that stores one row: the answer to a success is the row's id.
[[nodiscard]] std::int64_t insert(const char* path, const Statement& statement, const Text& text) noexcept;

// Runs a built query and hands its rows to the caller.
[[nodiscard]] int list(const char* path, const Statement& query, const Text& text, annal_row_callback callback,
                       void* context) noexcept;

// What becomes of a value below 0, which a caller cannot tell from a result code.
enum class NegativeValue {
  kIsFailure,   // the query's failure is answered
  kIsReturned,  // the caller gets it all the same
};

// The first column of a built query's first row, which is how counts and column checks are answered. Without a row, the
// query's failure.
[[nodiscard]] int first_integer(const char* path, const Statement& query, const Text& text,
                                NegativeValue negative) noexcept;

}  // namespace annal
