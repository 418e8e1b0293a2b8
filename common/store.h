// One unit of work on a log's file: open it, run one statement, close it, and answer with a result code.
#pragma once

#include <cstdint>

#include "Corix_annal.h"
#include "common/statement.h"
#include "common/text.h"

namespace annal {

// Runs a statement whose text is constant.
[[nodiscard]] int run(const char* path, const Statement& statement) noexcept;

// Runs a text built from the statement's format. If it could not be built, returns ANNAL_NO_MEMORY without opening
// anything: SQLite takes a null text for an empty one and reports success.
[[nodiscard]] int run(const char* path, const Statement& statement, const Text& text) noexcept;

// The same for a statement that stores one row; on success it returns the row's id.
[[nodiscard]] std::int64_t insert(const char* path, const Statement& statement, const Text& text) noexcept;

// Runs a built query and passes its rows to the callback.
[[nodiscard]] int list(const char* path, const Statement& query, const Text& text, annal_row_callback callback,
                       void* context) noexcept;

// How to return a value below 0, which a caller cannot tell from a result code.
enum class NegativeValue {
  kIsFailure,   // returns the query's failure code
  kIsReturned,  // returns it unchanged
};

// Returns the first column of a built query's first row, or the query's failure code if there is no row. Counts and
// column checks use it.
[[nodiscard]] int first_integer(const char* path, const Statement& query, const Text& text,
                                NegativeValue negative) noexcept;

}  // namespace annal
