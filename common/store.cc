// One unit of work: open, run, close.
#include "common/store.h"

#include "common/database.h"

namespace annal {

namespace {

int execute(const char* path, const Statement& statement, const char* sql, annal_row_callback callback,
            void* context) noexcept {
  const Database database(path, statement.wait);
  if (!database.opened()) {
    return ANNAL_OPEN_FAILED;
  }
  return database.execute(sql, callback, context) ? ANNAL_OK : statement.failure;
}

}  // namespace

int run(const char* path, const Statement& statement) noexcept {
  return execute(path, statement, statement.sql, nullptr, nullptr);
}

int run(const char* path, const Statement& statement, const Text& text) noexcept {
  return list(path, statement, text, nullptr, nullptr);
}

std::int64_t insert(const char* path, const Statement& statement, const Text& text) noexcept {
  if (!text.built()) {
    return ANNAL_NO_MEMORY;
  }
  const Database database(path, statement.wait);
  if (!database.opened()) {
    return ANNAL_OPEN_FAILED;
  }
  return database.execute(text.c_str(), nullptr, nullptr) ? database.last_row_id()
                                                          : static_cast<std::int64_t>(statement.failure);
}

int list(const char* path, const Statement& query, const Text& text, annal_row_callback callback,
         void* context) noexcept {
  return text.built() ? execute(path, query, text.c_str(), callback, context) : ANNAL_NO_MEMORY;
}

int first_integer(const char* path, const Statement& query, const Text& text, NegativeValue negative) noexcept {
  if (!text.built()) {
    return ANNAL_NO_MEMORY;
  }
  const Database database(path, query.wait);
  if (!database.opened()) {
    return ANNAL_OPEN_FAILED;
  }
  const PreparedStatement statement(database, text.c_str());
  if (statement.step() != SQLITE_ROW) {
    return query.failure;
  }
  const int value = statement.integer(0);
  return value < 0 && negative == NegativeValue::kIsFailure ? query.failure : value;
}

}  // namespace annal
