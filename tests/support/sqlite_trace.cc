// Interposes SQLite's functions: records the library's calls, and fails them on request.
#include "tests/support/sqlite_trace.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstdarg>
#include <cstring>
#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <utility>

#include "tests/support/from_library.h"

namespace annal::test {

namespace {

struct State {
  std::mutex mutex;
  Calls calls;
  std::set<const void*> connections;
  std::set<const void*> statements;
  std::set<const void*> texts;
  std::map<std::string, int, std::less<>> until_failure;
  std::map<std::string, int, std::less<>> failures;  // the number of calls with this prefix still to fail
  bool statements_followed = false;
  std::optional<int> longest_wait;
  std::optional<int> next_number;
};

State& state() {
  static State instance;
  return instance;
}

void record(std::string call) {
  const std::lock_guard lock(state().mutex);
  state().calls.push_back(std::move(call));
}

void take(std::set<const void*> State::*set, const void* resource) {
  const std::lock_guard lock(state().mutex);
  if (resource != nullptr) {
    (state().*set).insert(resource);
  }
}

void give_back(std::set<const void*> State::*set, const void* resource) {
  const std::lock_guard lock(state().mutex);
  (state().*set).erase(resource);
}

std::size_t size_of(std::set<const void*> State::*set) {
  const std::lock_guard lock(state().mutex);
  return (state().*set).size();
}

bool fails_now(std::string_view function) {
  const std::lock_guard lock(state().mutex);
  const auto found = state().until_failure.find(function);
  if (found == state().until_failure.end() || --found->second != 0) {
    return false;
  }
  state().until_failure.erase(found);
  return true;
}

// Fails or passes a traced call.
bool fails_now(std::string_view function, const std::string& call) {
  {
    const std::lock_guard lock(state().mutex);
    for (auto& [beginning, left] : state().failures) {
      if (call.starts_with(beginning) && left > 0) {
        --left;
        return true;
      }
    }
  }
  return fails_now(function);
}

void record_work(std::string call) {
  if (state().statements_followed) {
    record(std::move(call));
  }
}

template <typename Function>
Function* next(Function* /*interposed*/, const char* name) {
  return reinterpret_cast<Function*>(next_function(name));
}

std::string text_or_null(const char* text) {
  return text != nullptr ? text : "(null)";
}

}  // namespace

const Calls& SqliteTrace::calls() {
  return state().calls;
}

Calls SqliteTrace::statements() {
  Calls texts;
  for (const std::string& call : state().calls) {
    for (const std::string_view prefix : {"exec ", "prepare "}) {
      if (call.starts_with(prefix)) {
        texts.push_back(call.substr(prefix.size()));
      }
    }
  }
  return texts;
}

std::size_t SqliteTrace::open_connections() {
  return size_of(&State::connections);
}

std::size_t SqliteTrace::live_statements() {
  return size_of(&State::statements);
}

std::size_t SqliteTrace::live_texts() {
  return size_of(&State::texts);
}

void SqliteTrace::fail(std::string_view function, int nth) {
  const std::lock_guard lock(state().mutex);
  state().until_failure[std::string(function)] = nth;
}

void SqliteTrace::fail_first(int calls, std::string_view beginning) {
  const std::lock_guard lock(state().mutex);
  state().failures[std::string(beginning)] = calls;
}

void SqliteTrace::answer_next(int number) {
  const std::lock_guard lock(state().mutex);
  state().next_number = number;
}

void SqliteTrace::follow_statements() {
  state().statements_followed = true;
}

void SqliteTrace::shorten_waits(int milliseconds) {
  state().longest_wait = milliseconds;
}

void SqliteTrace::reset() {
  const std::lock_guard lock(state().mutex);
  state().calls.clear();
  state().connections.clear();
  state().statements.clear();
  state().texts.clear();
  state().until_failure.clear();
  state().failures.clear();
  state().statements_followed = false;
  state().longest_wait.reset();
  state().next_number.reset();
}

}  // namespace annal::test

using namespace annal::test;

extern "C" {

int sqlite3_open(const char* path, sqlite3** handle) {
  static auto* const real = next(&sqlite3_open, "sqlite3_open");
  const bool traced = CALLED_BY_LIBRARY();
  const int result = real(path, handle);
  if (!traced) {
    return result;
  }
  record("open " + text_or_null(path));
  take(&State::connections, *handle);
  return fails_now("open") ? SQLITE_CANTOPEN : result;
}

int sqlite3_close(sqlite3* handle) {
  static auto* const real = next(&sqlite3_close, "sqlite3_close");
  if (CALLED_BY_LIBRARY()) {
    record("close");
    give_back(&State::connections, handle);
  }
  return real(handle);
}

int sqlite3_busy_timeout(sqlite3* handle, int milliseconds) {
  static auto* const real = next(&sqlite3_busy_timeout, "sqlite3_busy_timeout");
  if (CALLED_BY_LIBRARY()) {
    record("busy_timeout " + std::to_string(milliseconds));
    milliseconds = std::min(milliseconds, state().longest_wait.value_or(milliseconds));
  }
  return real(handle, milliseconds);
}

int sqlite3_busy_handler(sqlite3* handle, int (*handler)(void*, int), void* context) {
  static auto* const real = next(&sqlite3_busy_handler, "sqlite3_busy_handler");
  if (CALLED_BY_LIBRARY()) {
    record("busy_handler");
  }
  return real(handle, handler, context);
}

int sqlite3_sleep(int milliseconds) {
  static auto* const real = next(&sqlite3_sleep, "sqlite3_sleep");
  if (CALLED_BY_LIBRARY()) {
    record("sleep " + std::to_string(milliseconds));
  }
  return real(milliseconds);
}

int sqlite3_exec(sqlite3* handle, const char* sql, int (*callback)(void*, int, char**, char**), void* context,
                 char** message) {
  static auto* const real = next(&sqlite3_exec, "sqlite3_exec");
  if (CALLED_BY_LIBRARY()) {
    const std::string call = "exec " + text_or_null(sql);
    record(call);
    if (fails_now("exec", call)) {
      return SQLITE_ERROR;
    }
  }
  return real(handle, sql, callback, context, message);
}

int sqlite3_prepare(sqlite3* handle, const char* sql, int length, sqlite3_stmt** statement, const char** tail) {
  static auto* const real = next(&sqlite3_prepare, "sqlite3_prepare");
  const bool traced = CALLED_BY_LIBRARY();
  if (traced) {
    const std::string call = "prepare " + text_or_null(sql);
    record(call);
    if (fails_now("prepare", call)) {
      *statement = nullptr;
      return SQLITE_ERROR;
    }
  }
  const int result = real(handle, sql, length, statement, tail);
  if (traced) {
    take(&State::statements, *statement);
  }
  return result;
}

int sqlite3_step(sqlite3_stmt* statement) {
  static auto* const real = next(&sqlite3_step, "sqlite3_step");
  if (CALLED_BY_LIBRARY()) {
    record_work("step");
    if (fails_now("step")) {
      return SQLITE_IOERR;
    }
  }
  return real(statement);
}

int sqlite3_column_int(sqlite3_stmt* statement, int column) {
  static auto* const real = next(&sqlite3_column_int, "sqlite3_column_int");
  if (CALLED_BY_LIBRARY()) {
    const std::lock_guard lock(state().mutex);
    if (const std::optional<int> answer = std::exchange(state().next_number, std::nullopt)) {
      return *answer;
    }
  }
  return real(statement, column);
}

int sqlite3_bind_int(sqlite3_stmt* statement, int place, int value) {
  static auto* const real = next(&sqlite3_bind_int, "sqlite3_bind_int");
  if (CALLED_BY_LIBRARY()) {
    record_work("bind " + std::to_string(place) + " " + std::to_string(value));
    if (fails_now("bind")) {
      return SQLITE_NOMEM;
    }
  }
  return real(statement, place, value);
}

int sqlite3_bind_text(sqlite3_stmt* statement, int place, const char* text, int length,
                      sqlite3_destructor_type destructor) {
  static auto* const real = next(&sqlite3_bind_text, "sqlite3_bind_text");
  if (CALLED_BY_LIBRARY()) {
    const bool whole = length == static_cast<int>(std::strlen(text));
    record_work("bind " + std::to_string(place) + " \"" + text + "\"" + (whole ? "" : " (of another length)") +
                (destructor == SQLITE_STATIC ? "" : " (copied)"));
    if (fails_now("bind")) {
      return SQLITE_NOMEM;
    }
  }
  return real(statement, place, text, length, destructor);
}

int sqlite3_reset(sqlite3_stmt* statement) {
  static auto* const real = next(&sqlite3_reset, "sqlite3_reset");
  if (CALLED_BY_LIBRARY()) {
    record_work("reset");
  }
  return real(statement);
}

int sqlite3_finalize(sqlite3_stmt* statement) {
  static auto* const real = next(&sqlite3_finalize, "sqlite3_finalize");
  if (CALLED_BY_LIBRARY() && statement != nullptr) {
    record("finalize");
    give_back(&State::statements, statement);
  }
  return real(statement);
}

char* sqlite3_mprintf(const char* format, ...) {
  const bool traced = CALLED_BY_LIBRARY();
  if (traced && fails_now("mprintf")) {
    return nullptr;
  }
  va_list arguments;
  va_start(arguments, format);
  char* text = sqlite3_vmprintf(format, arguments);
  va_end(arguments);
  if (traced) {
    take(&State::texts, text);
  }
  return text;
}

void sqlite3_free(void* memory) {
  static auto* const real = next(&sqlite3_free, "sqlite3_free");
  if (CALLED_BY_LIBRARY()) {
    give_back(&State::texts, memory);
  }
  real(memory);
}

}  // extern "C"
