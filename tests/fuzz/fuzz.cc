// What the fuzz programs share; see fuzz.h.
#include "tests/fuzz/fuzz.h"

#include <dirent.h>
#include <dlfcn.h>
#include <sqlite3.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "Corix_annal.h"
#include "appliance/namespace.h"

namespace annal::fuzz {

namespace {

namespace fs = std::filesystem;

std::atomic<bool> commands_allowed{false};  // NOLINT(*-avoid-non-const-global-variables)

// Some inputs are SQL, because they go unescaped into a statement, or a crafted database. They must not reach beyond
// the appliance's logs or run forever.
int guard_connection(sqlite3* database, char** /*message*/, const sqlite3_api_routines* /*routines*/) {
  constexpr int kLongest = 1'000'000;
  constexpr int kOperations = 100'000;
  sqlite3_limit(database, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_limit(database, SQLITE_LIMIT_LENGTH, kLongest);
  sqlite3_limit(database, SQLITE_LIMIT_TRIGGER_DEPTH, 10);
  sqlite3_progress_handler(
      database, kOperations, [](void* /*context*/) { return 1; }, nullptr);
  return SQLITE_OK;
}

std::size_t count_descriptors() {
  std::size_t count = 0;
  DIR* const folder = opendir("/proc/self/fd");
  while (readdir(folder) != nullptr) {
    ++count;
  }
  closedir(folder);
  return count;
}

int keep_row(void* context, int columns, char** values, char** /*names*/) {
  std::vector<Value> row;
  for (int i = 0; i < columns; ++i) {
    row.push_back(values[i] != nullptr ? Value(values[i]) : Value());
  }
  static_cast<Rows*>(context)->push_back(row);
  return 0;
}

bool execute(const char* path, const std::string& sql, Rows* rows) {
  sqlite3* database = nullptr;
  const bool done =
      sqlite3_open(path, &database) == SQLITE_OK &&
      sqlite3_exec(database, sql.c_str(), rows != nullptr ? keep_row : nullptr, rows, nullptr) == SQLITE_OK;
  sqlite3_close(database);
  return done;
}

template <typename Function>
Function next(const char* name) {
  return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

void require(bool holds, std::string_view what) {
  if (!holds) {
    std::fprintf(stderr, "not as it must be: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
  }
}

std::uint8_t Input::byte() {
  if (rest_.empty()) {
    return 0;
  }
  const std::uint8_t first = rest_.front();
  rest_ = rest_.subspan(1);
  return first;
}

std::int32_t Input::number() {
  constexpr std::array<std::int32_t, 8> kEdges{-1, INT_MIN, INT_MAX, 99, 1000, -2, 65536, INT_MAX - 1};
  constexpr unsigned kSmall = 200;
  constexpr unsigned kModulus = 40;
  const unsigned first = byte();
  if (first < kSmall) {
    return static_cast<std::int32_t>(first % kModulus);
  }
  if (first < kSmall + kEdges.size()) {
    return kEdges[first - kSmall];
  }
  unsigned number = 0;
  for (int i = 0; i < 4; ++i) {
    number = number << 8U | byte();
  }
  return static_cast<std::int32_t>(number);
}

std::string Input::bytes(std::size_t most) {
  const auto taken = rest_.first(std::min(most, rest_.size()));
  rest_ = rest_.subspan(taken.size());
  return {taken.begin(), taken.end()};
}

std::string Input::text(std::size_t bound) {
  constexpr unsigned kShort = 240;
  constexpr unsigned kMargin = 8;
  const unsigned kind = byte();
  if (kind < kShort) {
    std::string text = bytes(kind % 64);
    text.erase(std::find(text.begin(), text.end(), '\0'), text.end());
    return text;
  }
  // Long texts repeat a few bytes: a long input would hide the rest.
  std::string unit = bytes(1 + below(4));
  unit.erase(std::remove(unit.begin(), unit.end(), '\0'), unit.end());
  if (unit.empty()) {
    unit = "x";
  }
  const std::size_t length = bound + kMargin / 2 - std::min<std::size_t>(bound + kMargin / 2, below(kMargin));
  std::string text;
  while (text.size() < length) {
    text += unit;
  }
  text.resize(length);
  return text;
}

std::optional<std::string> Input::text_or_none(std::size_t bound) {
  if (below(3) == 0) {
    return {};
  }
  return text(bound);
}

std::string Input::unquoted(std::size_t bound) {
  std::string text = Input::text(bound);
  std::replace(text.begin(), text.end(), '\'', '"');
  return text;
}

std::string Input::line() {
  const auto end = std::find(rest_.begin(), rest_.end(), std::uint8_t{'\n'});
  std::string line(rest_.begin(), end);
  rest_ = rest_.subspan(std::min(line.size() + 1, rest_.size()));
  return line;
}

void Input::fill(std::span<char> field) {
  enum Kind : unsigned { kText, kUnterminated, kRaw, kKinds };
  const unsigned kind = below(8);
  if (kind < kKinds && kind != kText) {
    const std::string unit = kind == kRaw ? bytes(field.size()) : bytes(1 + below(3));
    for (std::size_t i = 0; i < field.size(); ++i) {
      const char c = unit.empty() ? 'x' : unit[i % unit.size()];
      field[i] = kind == kUnterminated && c == '\0' ? 'x' : c;
    }
    return;
  }
  const std::string content = text(field.size());
  const std::size_t length = std::min(content.size(), field.size());
  std::copy_n(content.begin(), length, field.begin());
  if (length < field.size()) {
    field[length] = '\0';
  }
}

void allow_commands(bool allowed) {
  commands_allowed = allowed;
}

Files files() {
  Files found;
  for (const fs::directory_entry& entry : fs::directory_iterator(appliance::kLogFolder)) {
    std::ifstream file(entry.path(), std::ios::binary);
    found[entry.path()] = {std::istreambuf_iterator<char>(file), {}};
  }
  return found;
}

void put_back(const Files& files) {
  std::vector<fs::path> strangers;
  for (const fs::directory_entry& entry : fs::directory_iterator(appliance::kLogFolder)) {
    if (!files.contains(entry.path())) {
      strangers.push_back(entry.path());
    }
  }
  for (const fs::path& stranger : strangers) {
    fs::remove_all(stranger);
  }
  for (const auto& [path, content] : files) {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
  }
}

std::optional<Rows> rows(const char* path, const std::string& sql) {
  Rows rows;
  return execute(path, sql, &rows) ? std::optional<Rows>(rows) : std::nullopt;
}

void run(const char* path, const std::string& sql) {
  require(execute(path, sql, nullptr), sql);
}

bool run_tolerantly(const char* path, const std::string& sql) {
  return execute(path, sql, nullptr);
}

int Listing::callback(void* context, int columns, char** values, char** names) {
  Listing& listing = *static_cast<Listing*>(context);
  listing.columns = columns;
  ++listing.delivered;
  // Reads every value that it gets.
  std::size_t length = 0;
  for (int i = 0; i < columns; ++i) {
    require(names[i] != nullptr, "a column without a name");
    length += std::strlen(names[i]) + (values[i] != nullptr ? std::strlen(values[i]) : 0);
  }
  return length > 0 && listing.stopped() ? 1 : 0;
}

void require_answer(std::int64_t answer, std::span<const int> failures) {
  require(answer >= 0 || std::find(failures.begin(), failures.end(), answer) != failures.end(),
          "the answer " + std::to_string(answer));
}

int no_extension(sqlite3* /*database*/, char** /*error*/, const sqlite3_api_routines* /*api*/) {
  return SQLITE_OK;
}

LeakCheck::LeakCheck() : memory_(sqlite3_memory_used()), descriptors_(count_descriptors()) {}

LeakCheck::~LeakCheck() {
  require(sqlite3_memory_used() == memory_, "memory of SQLite's is left");
  require(count_descriptors() == descriptors_, "a descriptor is left open");
}

}  // namespace annal::fuzz

// Replace the system's functions: with commands disabled, they create neither children nor pipes.

extern "C" std::FILE* popen(const char* command, const char* type) {
  using Popen = std::FILE* (*)(const char*, const char*);
  static const auto real = annal::fuzz::next<Popen>("popen");
  return annal::fuzz::commands_allowed ? real(command, type) : nullptr;
}

// NOLINTNEXTLINE(cert-dcl50-cpp): matches the declaration
extern "C" int clone(int (*run)(void*), void* stack, int flags, void* argument, ...) noexcept {
  using Clone = int (*)(int (*)(void*), void*, int, void*, ...);
  static const auto real = annal::fuzz::next<Clone>("clone");
  return annal::fuzz::commands_allowed ? real(run, stack, flags, argument) : -1;
}

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
  using annal::fuzz::require;
  if (!annal::appliance::inside_private_appliance()) {
    const std::string problem = annal::appliance::enter_private_appliance();
    if (!problem.empty()) {
      std::fprintf(stderr, "Fuzzing needs a private appliance: %s\n", problem.c_str());
      std::_Exit(EXIT_FAILURE);
    }
  }
  setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);
  tzset();
  annal::fuzz::put_back({});
  require(sqlite3_auto_extension(reinterpret_cast<void (*)()>(&annal::fuzz::guard_connection)) == SQLITE_OK,
          "the guard of connections");
  // Warm-up: lets SQLite and the C library make their permanent allocations. The list of extensions keeps the size that
  // it had while annalctl had added one.
  const auto extension = reinterpret_cast<void (*)()>(&annal::fuzz::no_extension);
  sqlite3_auto_extension(extension);
  sqlite3_cancel_auto_extension(extension);
  require(annal_event_create_tbl(0, 0) == ANNAL_OK, "the first log");
  annal::fuzz::put_back({});
  return 0;
}
