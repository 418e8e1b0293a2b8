// Creating, emptying, migrating, checking and salvaging a file-operation log.
#include <sys/stat.h>

#include "Corix_annal.h"
#include "tools/annalctl/fileop/commands.h"
#include "tools/annalctl/fileop/model.h"
#include "tools/annalctl/maintenance/compact.h"
#include "tools/annalctl/maintenance/info.h"
#include "tools/annalctl/maintenance/keep.h"
#include "tools/annalctl/maintenance/limit.h"
#include "tools/annalctl/maintenance/maintenance.h"
#include "tools/annalctl/rescue/check_command.h"
#include "tools/annalctl/rescue/salvage.h"

namespace annalctl::fileop {

namespace {

// The library leaves a file alone that holds something, and calls that a success. Who asks for a log with a limit by
// hand has to hear that there is none of that limit now.
int create(int limit, int batch) noexcept {
  struct stat status {};
  const bool there = stat(kLog.path, &status) == 0 && status.st_size != 0;
  const int code = pavo2log_event_create_tbl(kLog.path, limit, batch);
  return there && code == ANNAL_OK ? static_cast<int>(ANNAL_TABLE_FAILED) : code;
}

int flush() noexcept {
  return pavo2log_event_flush_tbl(kLog.path);
}

constexpr Maintenance kMaintenance{
    .log = kLog,
    .create = create,
    .flush = flush,
};

}  // namespace

void add_create(CLI::App& commands, Session& session) {
  add_create_command(commands, session, kMaintenance);
}

void add_flush(CLI::App& commands, Session& session) {
  add_flush_command(commands, session, kMaintenance);
}

void add_check(CLI::App& commands, Session& session) {
  add_check_command(commands, session, kLog);
}

void add_salvage(CLI::App& commands, Session& session) {
  add_salvage_command(commands, session, kLog);
}

void add_info(CLI::App& commands, Session& session) {
  add_info_command(commands, session, kLog);
}

void add_limit(CLI::App& commands, Session& session) {
  add_limit_command(commands, session, kLog);
}

void add_keep(CLI::App& commands, Session& session) {
  add_keep_command(commands, session, kLog);
}

void add_compact(CLI::App& commands, Session& session) {
  add_compact_command(commands, session, kLog);
}

}  // namespace annalctl::fileop
