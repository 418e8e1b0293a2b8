// Counts deleted rows through SQLite's hooks, and reports them.
#include "tools/annalctl/maintenance/changes.h"

#include <fmt/format.h>
#include <sqlite3.h>
#include <CLI/CLI.hpp>

#include "Corix_annal.h"
#include "tools/annalctl/log/result.h"
#include "tools/annalctl/maintenance/noted_deletions.h"

namespace annalctl {

// Called by SQLite for each connection, on opening and on closing.
struct CountedChanges::Hooks {
  static int opened(sqlite3* connection, char** /*message*/, const sqlite3_api_routines* /*api*/) {
    return sqlite3_trace_v2(connection, SQLITE_TRACE_CLOSE, closed, current);
  }

  static int closed(unsigned /*event*/, void* changes, void* connection, void* /*text*/) {
    static_cast<CountedChanges*>(changes)->rows_ += sqlite3_total_changes64(static_cast<sqlite3*>(connection));
    return 0;
  }

  // SQLite calls a function of this type, but takes it as another.
  static inline void (*const kEntry)() = reinterpret_cast<void (*)()>(opened);
  static inline CountedChanges* current = nullptr;
};

CountedChanges::CountedChanges() {
  Hooks::current = this;
  sqlite3_auto_extension(Hooks::kEntry);
}

CountedChanges::~CountedChanges() {
  sqlite3_cancel_auto_extension(Hooks::kEntry);
  Hooks::current = nullptr;
}

void say_deleted(std::int64_t count, const Log& log, Deed deed, Session& session) {
  const bool done = deed == Deed::kDone;
  if (session.format() == Format::kTable) {
    session.output.write(fmt::format("{} {}\n", done ? "deleted" : "would delete", number_of(count, log)));
  } else {
    write_number(session.format(), done ? "deleted" : "would_delete", static_cast<int>(count), session.output);
  }
}

int delete_and_say(const Call& call, DeletingVerb verb, Session& session, const std::function<int()>& call_library) {
  std::int64_t deleted = 0;
  int code = ANNAL_OK;
  {
    NotedDeletions noted(call.log, verb.name);
    const CountedChanges changes;
    code = call_library();
    deleted = changes.rows();
    if (code == ANNAL_OK) {
      noted.tell(verb.deletes_all ? NotedDeletions::Which::kAll : NotedDeletions::Which::kNoted);
    }
  }
  if (code != ANNAL_OK) {
    return report(call, code);
  }
  say_deleted(deleted, call.log, Deed::kDone, session);
  return kSuccess;
}

void add_dry_run(CLI::App& command, bool& dry_run) {
  command.add_flag("--dry-run", dry_run, "Only say how many would be deleted");
}

}  // namespace annalctl
