// Creates tables and triggers and deletes entries, from the rows of data that each log supplies.
#include "common/table.h"

#include "common/database.h"
#include "common/store.h"
#include "common/text.h"

namespace annal {

int add_trigger(const char* path, const LogFullTrigger& trigger, int limit, int batch) noexcept {
  const Text text(sqlite3_mprintf(trigger.add.sql, limit_or(limit, trigger.default_limit), limit_or(batch, 1)));
  return run(path, trigger.add, text);
}

namespace {

int create(const char* path, const Creation& creation) noexcept {
  const Database database(path, creation.wait);
  if (!database.opened()) {
    return ANNAL_OPEN_FAILED;
  }
  int result = ANNAL_OK;
  for (const auto& [text, if_failed] : creation.steps) {
    if (!database.execute(text, nullptr, nullptr) && if_failed == IfFailed::kReport) {
      result = creation.failure;
    }
  }
  return result;
}

}  // namespace

int create_table(const char* path, const Creation& creation, const LogFullTrigger& trigger, int limit,
                 int batch) noexcept {
  const int created = create(path, creation);
  return created == ANNAL_OK ? add_trigger(path, trigger, limit, batch) : created;
}

int delete_by(const char* path, const Deletion& deletion, unsigned selector, const void* value) noexcept {
  if (selector >= deletion.selectors.size() || value == nullptr) {
    return ANNAL_BAD_ARGUMENT;
  }
  const auto& [format, kind] = deletion.selectors[selector];
  const Text text(kind == Selector::Value::kInteger ? sqlite3_mprintf(format, *static_cast<const int*>(value))
                                                    : sqlite3_mprintf(format, static_cast<const char*>(value)));
  return run(path, {format, deletion.wait, deletion.failure}, text);
}

}  // namespace annal
