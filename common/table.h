// Creates a log's table, keeps it bounded, and deletes from it.
#pragma once

#include <span>

#include "common/statement.h"

namespace annal {

// The caller's limit, or the log's own if the caller gave none.
[[nodiscard]] constexpr int limit_or(int limit, int fallback) noexcept {
  return limit > 0 ? limit : fallback;
}

// The trigger that deletes a full log's oldest entries.
struct LogFullTrigger {
  Statement add;      // format: the limit, the batch
  int default_limit;  // replaces a caller's limit of 0 or less; the default batch is 1 in every log
  Statement remove;
};

[[nodiscard]] int add_trigger(const char* path, const LogFullTrigger& trigger, int limit, int batch) noexcept;

// The steps of creating a table. All of them run, in order, even if an earlier one fails.
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

// Creates the table, then its trigger. If the trigger fails, the table remains.
[[nodiscard]] int create_table(const char* path, const Creation& creation, const LogFullTrigger& trigger, int limit,
                               int batch) noexcept;

// A column by which entries can be deleted.
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
