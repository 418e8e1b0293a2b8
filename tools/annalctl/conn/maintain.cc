// Creating, trimming, emptying, migrating, checking and salvaging the connection log.
#include <algorithm>

#include "Corix_annal.h"
#include "tools/annalctl/conn/commands.h"
#include "tools/annalctl/conn/model.h"
#include "tools/annalctl/maintenance/compact.h"
#include "tools/annalctl/maintenance/info.h"
#include "tools/annalctl/maintenance/keep.h"
#include "tools/annalctl/maintenance/limit.h"
#include "tools/annalctl/maintenance/maintenance.h"
#include "tools/annalctl/rescue/check_command.h"
#include "tools/annalctl/rescue/salvage.h"

namespace annalctl::conn {

namespace {

constexpr Maintenance kMaintenance{
    .log = kLog,
    .create = annal_conn_create_tbl,
    .flush = annal_conn_flush_tbl,
};

// The library deletes so many of the oldest, and takes a negative number for all of them.
int trim(int keep) noexcept {
  const int connections = kLog.count();
  return connections < 0 ? connections : annal_conn_del_full(std::max(connections - keep, 0));
}

}  // namespace

void add_create(CLI::App& commands, Session& session) {
  add_create_command(commands, session, kMaintenance);
}

void add_trim(CLI::App& commands, Session& session) {
  add_trim_command(commands, session, kLog, trim);
}

void add_flush(CLI::App& commands, Session& session) {
  add_flush_command(commands, session, kMaintenance);
}

void add_migrate(CLI::App& commands, Session& session) {
  add_migrate_command(commands, session, kLog, annal_conn_modify_tbl);
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

}  // namespace annalctl::conn
