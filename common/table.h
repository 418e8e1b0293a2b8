// Creating a log's table, keeping it bounded, and deleting from it.
#pragma once

#include <span>

#include "common/statement.h"

namespace annal {

// A limit from a caller, or the log's own where the caller gave none.
[[nodiscard]] constexpr int limit_or(int limit, int fallback) noexcept {
  return limit > 0 ? limit : fallback;
}

// The trigger that drops the oldest entries of a full log.
struct LogFullTrigger {
  Statement add;      // format: the limit, the batch
  int default_limit;  // for a caller's limit of 0 or less; the batch's is 1 in every log
  Statement remove;
};

[[nodiscard]] int add_trigger(const char* path, const LogFullTrigger& trigger, int limit, int batch) noexcept;

// What creating a table runs, one after the other, whatever became of the steps before.
enum class IfFailed { kReport, kGoOn };

struct CreationStep {
  const char* text;
  IfFailed if_failed;
};

struct Creation {
  std::span<const CreationStep> steps;
  Wait wait;
  annal_result failure;
};

// Creates the table, then its trigger. A trigger that fails leaves the table in place.
[[nodiscard]] int create_table(const char* path, const Creation& creation, const LogFullTrigger& trigger, int limit,
                               int batch) noexcept;

// One column that entries can be deleted by.
struct Selector {
  enum class Value {
    kInteger,  // the caller's value points at an int
    kText,     // the caller's value is the text
  };
  const char* format;  // takes the value
  Value value;
};

struct Deletion {
  std::span<const Selector> selectors;
  Wait wait;
  annal_result failure;
};

[[nodiscard]] int delete_by(const char* path, const Deletion& deletion, unsigned selector, const void* value) noexcept;

}  // namespace annal
