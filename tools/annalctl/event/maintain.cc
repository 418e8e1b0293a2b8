// Creating, emptying, migrating, checking and salvaging the event log.
#include "Corix_annal.h"
#include "tools/annalctl/event/commands.h"
#include "tools/annalctl/event/model.h"
#include "tools/annalctl/maintenance/compact.h"
#include "tools/annalctl/maintenance/info.h"
#include "tools/annalctl/maintenance/keep.h"
#include "tools/annalctl/maintenance/limit.h"
#include "tools/annalctl/maintenance/maintenance.h"
#include "tools/annalctl/rescue/check_command.h"
#include "tools/annalctl/rescue/salvage.h"

namespace annalctl::event {

namespace {

constexpr Maintenance kMaintenance{
    .log = kLog,
    .create = annal_event_create_tbl,
    .flush = annal_event_flush_tbl,
};

}  // namespace

void add_create(CLI::App& commands, Session& session) {
  add_create_command(commands, session, kMaintenance);
}

void add_trim(CLI::App& commands, Session& session) {
  add_trim_command(commands, session, kLog, annal_event_del_logfull_over_size);
}

void add_flush(CLI::App& commands, Session& session) {
  add_flush_command(commands, session, kMaintenance);
}

void add_migrate(CLI::App& commands, Session& session) {
  add_migrate_command(commands, session, kLog, annal_event_modify_tbl);
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

}  // namespace annalctl::event
