// Notes deleted ids through SQLite's update hook, which an automatic extension sets on every new connection.
#include "tools/annalctl/maintenance/noted_deletions.h"

#include <sqlite3.h>

#include <optional>

namespace annalctl {

namespace {

std::optional<DeletionListener>& told() {
  static std::optional<DeletionListener> listener;
  return listener;
}

}  // namespace

// What SQLite calls for each connection that is opened, and for each row that it changes there.
struct NotedDeletions::Hooks {
  static int opened(sqlite3* connection, char** /*message*/, const sqlite3_api_routines* /*api*/) {
    sqlite3_update_hook(connection, changed, current);
    return SQLITE_OK;
  }

  static void changed(void* noted, int operation, const char* database, const char* table, sqlite3_int64 id) {
    auto& deletions = *static_cast<NotedDeletions*>(noted);
    if (operation == SQLITE_DELETE && sqlite3_stricmp(database, "main") == 0 &&
        sqlite3_stricmp(table, deletions.log_.table) == 0) {
      deletions.ids_.push_back(id);
    }
  }

  // What SQLite calls has this form, and is handed over in another.
  static inline void (*const kEntry)() = reinterpret_cast<void (*)()>(opened);
  static inline NotedDeletions* current = nullptr;
};

void tell_of_deletions(const DeletionListener& listener) {
  told() = listener;
}

NotedDeletions::NotedDeletions(const Log& log, const char* verb)
    : log_(log), verb_(verb), wanted_(told() && told()->wants(log)) {
  if (wanted_) {
    told()->begun(log);
    Hooks::current = this;
    sqlite3_auto_extension(Hooks::kEntry);
  }
}

NotedDeletions::~NotedDeletions() {
  if (wanted_) {
    sqlite3_cancel_auto_extension(Hooks::kEntry);
    Hooks::current = nullptr;
    told()->ended();
  }
}

void NotedDeletions::tell(Which which) {
  if (!wanted_) {
    return;
  }
  if (which == Which::kAll) {
    told()->emptied(log_, verb_);
  } else if (!ids_.empty()) {
    told()->deleted(log_, verb_, ids_);
  }
}

}  // namespace annalctl
