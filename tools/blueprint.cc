#include "tools/blueprint.h"

#include "Corix_annal.h"
#include "tools/sqlite.h"
#include "tools/text.h"

namespace annalctl {

namespace {

constexpr char kEveryName[] = "/annalctl";

int same_name(sqlite3_vfs* /*system*/, const char* /*name*/, int size, char* full_name) {
  sqlite3_snprintf(size, full_name, kEveryName);
  return SQLITE_OK;
}

// While it lives, whoever opens a database in this process, by whatever name, opens one and the same in memory.
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

}  // namespace

std::optional<Blueprint> blueprint_of(const Log& log, int limit, int batch) {
  const EverythingInMemory memory;
  if (!memory.ready()) {
    return {};
  }
  // Open before and after: without a connection the database is gone.
  const Database database(kEveryName, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
  if (log.create_anywhere(limit, batch) != ANNAL_OK) {
    return {};
  }
  Blueprint blueprint;
  Statement objects(database, "SELECT type, name, sql FROM sqlite_master ORDER BY rowid");
  while (objects.next()) {
    blueprint.objects.push_back({objects.text(0), objects.text(1), objects.text(2)});
  }
  // Known once the database has been read.
  Statement size(database, "PRAGMA page_size");
  if (size.next()) {
    blueprint.page_size = size.integer(0);
  }
  return objects.ended() && !blueprint.objects.empty() ? std::optional(blueprint) : std::nullopt;
}

std::string trigger_of(const Log& log) {
  std::string name = log.table;
  for (char& c : name) {
    c = lower(c);
  }
  return name + "_logfull";
}

}  // namespace annalctl
