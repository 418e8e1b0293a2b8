// Has the library create logs in memory, and reads their schema there.
#include "tools/annalctl/rescue/blueprint.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>

#include "Corix_annal.h"
#include "tools/annalctl/base/printable.h"
#include "tools/annalctl/base/sqlite.h"

namespace annalctl {

namespace {

constexpr char kEveryName[] = "/annalctl";

int same_name(sqlite3_vfs* /*system*/, const char* /*name*/, int size, char* full_name) {
  sqlite3_snprintf(size, full_name, kEveryName);
  return SQLITE_OK;
}

// While it exists, opening any database in this process opens the same one in memory.
class EverythingInMemory {
 public:
  EverythingInMemory() : before_(sqlite3_vfs_find(nullptr)) {
    const sqlite3_vfs* const memory = sqlite3_vfs_find("memdb");
    if (memory != nullptr) {
      system_ = *memory;
      system_.pNext = nullptr;
      system_.zName = "annalctl-memory";
      system_.xFullPathname = same_name;
      ready_ = sqlite3_vfs_register(&system_, 1) == SQLITE_OK;
    }
  }
  ~EverythingInMemory() {
    if (ready_) {
      sqlite3_vfs_register(before_, 1);
      sqlite3_vfs_unregister(&system_);
    }
  }
  EverythingInMemory(const EverythingInMemory&) = delete;
  EverythingInMemory& operator=(const EverythingInMemory&) = delete;

  [[nodiscard]] bool ready() const { return ready_; }

 private:
  sqlite3_vfs* before_;
  sqlite3_vfs system_{};
  bool ready_ = false;
};

// Records the statements of every connection that is opened meanwhile, and refuses all connections of a call but the
// first: a batch of connections that cannot begin deletes the log's file and tries again.
class Listener {
 public:
  Listener() {
    current_ = this;
    sqlite3_auto_extension(kEntry);
  }
  ~Listener() {
    sqlite3_cancel_auto_extension(kEntry);
    current_ = nullptr;
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  void expect_one() { expected_ = 1; }
  [[nodiscard]] std::vector<std::string> take() { return std::move(heard_); }

 private:
  static int begin(sqlite3* connection, char** /*message*/, const sqlite3_api_routines* /*api*/) {
    if (current_->expected_-- <= 0) {
      return SQLITE_ERROR;
    }
    return sqlite3_trace_v2(connection, SQLITE_TRACE_STMT, hear, current_);
  }

  // Statements that are prepared but not yet run count, too.
  static int hear(unsigned /*event*/, void* listener, void* running, void* /*text*/) {
    sqlite3* const connection = sqlite3_db_handle(static_cast<sqlite3_stmt*>(running));
    for (sqlite3_stmt* one = sqlite3_next_stmt(connection, nullptr); one != nullptr;
         one = sqlite3_next_stmt(connection, one)) {
      static_cast<Listener*>(listener)->keep(sqlite3_sql(one));
    }
    return 0;
  }

  void keep(std::string_view text) {
    if (std::find(heard_.begin(), heard_.end(), text) == heard_.end()) {
      heard_.emplace_back(text);
    }
  }

  // SQLite calls a function of this type, but takes it as another.
  static inline void (*const kEntry)() = reinterpret_cast<void (*)()>(begin);
  static inline Listener* current_ = nullptr;

  int expected_ = 0;
  std::vector<std::string> heard_;
};

}  // namespace

std::optional<Blueprint> blueprint_of(const Log& log, int limit, int batch) {
  const EverythingInMemory memory;
  if (!memory.ready()) {
    return {};
  }
  // Opened before and closed after: without a connection the database is gone.
  const SqliteDatabase database(kEveryName, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  if (log.create_redirected(limit, batch) != ANNAL_OK) {
    return {};
  }
  Blueprint blueprint;
  SqliteStatement objects(database, "SELECT type, name, sql FROM sqlite_master ORDER BY rowid");
  while (objects.next()) {
    blueprint.objects.push_back({objects.text(0), objects.text(1), objects.text(2)});
  }
  // Known only after reading the database.
  SqliteStatement size(database, "PRAGMA page_size");
  if (size.next()) {
    blueprint.page_size = size.integer(0);
  }
  return objects.ended() && !blueprint.objects.empty() ? std::optional(blueprint) : std::nullopt;
}

std::optional<std::vector<std::string>> statements_of(const Log& log) {
  const EverythingInMemory memory;
  if (!memory.ready()) {
    return {};
  }
  const SqliteDatabase database(kEveryName, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  if (log.create_redirected(log.usual_limit, 1) != ANNAL_OK ||
      !database.run(fmt::format("CREATE TRIGGER annalctl_refusal BEFORE INSERT ON {} BEGIN SELECT RAISE(FAIL, ''); END",
                                log.table))) {
    return {};
  }
  Listener listener;
  for (const auto use : log.uses) {
    listener.expect_one();
    static_cast<void>(use());
  }
  return listener.take();
}

std::string trigger_of(const Log& log) {
  std::string name = log.table;
  for (char& c : name) {
    c = lower(c);
  }
  return name + "_logfull";
}

}  // namespace annalctl
